// The rating of Windows Media files: WM/SharedUserRating in the extended content description, as Windows stores it.
#pragma once

#include "platform/host/media/rating_format.h"

namespace platform::host::media {

extern const rating_format asf_rating;

}  // namespace platform::host::media
