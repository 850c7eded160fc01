// Dates.h - dates as display text in the current locale, and fixed-layout date parsing (ICU).
//
// The current locale is the process's time locale: the first non-empty of LC_ALL, LC_TIME and
// LANG ("de_DE.UTF-8" is read as de_DE; "C" and "POSIX" as en_US_POSIX), else ICU's default
// locale. Formatters are made once per locale and style and kept; they keep the time zone that
// was the default when they were made. Single-threaded, like the rest of the server.
#pragma once

#include "cf/CFNumber.h"
#include "cf/CFString.h"

#include <string>

// The display styles of a date or a time of day, from absent to fullest.
enum CFDateFormatterStyle {
    kCFDateFormatterNoStyle = 0,
    kCFDateFormatterShortStyle = 1,
    kCFDateFormatterMediumStyle = 2,
    kCFDateFormatterLongStyle = 3,
    kCFDateFormatterFullStyle = 4,
};

// The absolute time as text in the current locale and time zone, with the given date and time
// styles (both kCFDateFormatterNoStyle gives ""). The caller must release the result. Returns
// null when no formatter can be made for the locale.
CFStringRef formatDate(CFAbsoluteTime time, CFDateFormatterStyle dateStyle,
                       CFDateFormatterStyle timeStyle);

// The absolute time of 1970-01-01 00:00:00 GMT (-978307200.0), parsed afresh on every call from
// "1970:01:01 00:00:00 GMT" with the layout "yyyy:MM:dd HH:mm:ss Z"; 0.0 when that fails.
double getEpoch();

// Parses UTF-8 text laid out as pattern (ICU pattern letters; Gregorian calendar, ASCII digits,
// fields checked strictly, text after the layout ignored) into *time. Without a zone field in
// the pattern the text is read as local time. Returns false, leaving *time untouched, when the
// text does not fit the layout or no parser can be made.
bool parseDate(const char* text, const char* pattern, CFAbsoluteTime* time);

// The ICU locale id of the current locale, as described above.
std::string currentDateLocale();
