// MetadataEmitter.h - a picture's dates and camera metadata written as JSON objects.
#pragma once

#include "image/Dates.h"
#include "image/ExifData.h"

#include <cstdint>
#include <ostream>

// Milliseconds from 1970-01-01 00:00:00 GMT to the absolute time, counted from getEpoch()
// (so from 2001 when the epoch cannot be parsed) and truncated toward zero. Times before
// 1970 give negative values. A time too far out for 64 bits saturates; NaN gives 0.
int64_t millisecondsSince1970(CFAbsoluteTime time);

// Writes { "value":<milliseconds>, "string":"<display text>" } for the absolute time, the
// display text from formatDate with the two styles in the current locale. Throws the string
// wrapper's null error when formatDate fails; "{ "value":N, "string":" is already written then.
std::ostream& emit(std::ostream& os, CFAbsoluteTime time, CFDateFormatterStyle dateStyle,
                   CFDateFormatterStyle timeStyle);

// Writes the ten display fields of the metadata as one object of JSON strings, always all of
// them and in this order: captureDate, modifiedDate, aperture, shutter, iso, focalLength,
// cameraMake, cameraModel, width, height. A field the picture lacks is "".
std::ostream& emit(std::ostream& os, ExifData& exif);
