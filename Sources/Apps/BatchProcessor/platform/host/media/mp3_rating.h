// The rating of an MP3 file: the "popularimeter" frame of its ID3v2 tag, as Windows stores it.
#pragma once

#include "platform/host/media/rating_format.h"

namespace platform::host::media {

extern const rating_format mp3_rating;

}  // namespace platform::host::media
