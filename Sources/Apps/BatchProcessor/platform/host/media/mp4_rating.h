// The rating of MPEG-4 and QuickTime files: WM/SharedUserRating in moov/udta/Xtra, as Windows stores it.
#pragma once

#include "platform/host/media/rating_format.h"

namespace platform::host::media {

extern const rating_format mp4_rating;

}  // namespace platform::host::media
