// MetadataEmitter.cpp - the date object and the camera metadata object of the JSON API.
#include "web/MetadataEmitter.h"

#include "web/utility.h"

#include <cmath>

int64_t millisecondsSince1970(CFAbsoluteTime time) {
    double milliseconds = (time - getEpoch()) * 1000.0;
    // Converting a double outside the integer's range is undefined; a picture's stored date is
    // untrusted, so saturate instead. 2^63 and the largest double below it bound the range.
    if (std::isnan(milliseconds)) return 0;
    if (milliseconds <= -9223372036854775808.0) return INT64_MIN;
    if (milliseconds >= 9223372036854775808.0) return INT64_MAX;
    return int64_t(milliseconds);
}

std::ostream& emit(std::ostream& os, CFAbsoluteTime time, CFDateFormatterStyle dateStyle,
                   CFDateFormatterStyle timeStyle) {
    os << "{ \"value\":" << millisecondsSince1970(time) << ", \"string\":";
    CFString_t text(formatDate(time, dateStyle, timeStyle), CFString_t::Create);
    return os << JavascriptString(text) << " }";
}

std::ostream& emit(std::ostream& os, ExifData& exif) {
    os << "{ \"captureDate\":" << JavascriptString(exif.captureDate);
    os << ", \"modifiedDate\":" << JavascriptString(exif.modifiedDate);
    os << ", \"aperture\":" << JavascriptString(exif.aperture);
    os << ", \"shutter\":" << JavascriptString(exif.shutter);
    os << ", \"iso\":" << JavascriptString(exif.iso);
    os << ", \"focalLength\":" << JavascriptString(exif.focalLength);
    os << ", \"cameraMake\":" << JavascriptString(exif.cameraMake);
    os << ", \"cameraModel\":" << JavascriptString(exif.cameraModel);
    os << ", \"width\":" << JavascriptString(exif.width);
    os << ", \"height\":" << JavascriptString(exif.height);
    return os << " }";
}
