// Dates.cpp - the ICU formatters behind formatDate, getEpoch and parseDate, made once and kept.
#include "image/Dates.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

std::string currentDateLocale() {
    for (const char* name : {"LC_ALL", "LC_TIME", "LANG"}) {
        const char* value = getenv(name);
        if (!value || !*value) continue;
        std::string id(value, strcspn(value, ".@"));
        if (id == "C" || id == "POSIX") return "en_US_POSIX";
        if (!id.empty()) return id;
    }
    return icu::Locale::getDefault().getName();
}

// Formatters by locale id and kind. Creating one loads locale data and costs far more than
// using it, and a listing formats two dates per picture.
static std::map<std::string, std::unique_ptr<icu::DateFormat>>& _formatters() {
    thread_local std::map<std::string, std::unique_ptr<icu::DateFormat>> formatters;
    return formatters;
}

static icu::DateFormat::EStyle _icuStyle(CFDateFormatterStyle style) {
    switch (style) {
    case kCFDateFormatterShortStyle:
        return icu::DateFormat::kShort;
    case kCFDateFormatterMediumStyle:
        return icu::DateFormat::kMedium;
    case kCFDateFormatterLongStyle:
        return icu::DateFormat::kLong;
    case kCFDateFormatterFullStyle:
        return icu::DateFormat::kFull;
    default:
        return icu::DateFormat::kNone;
    }
}

// The display formatter for the current locale and two styles, or null.
static icu::DateFormat* _styleFormatter(CFDateFormatterStyle dateStyle,
                                        CFDateFormatterStyle timeStyle) {
    std::string locale = currentDateLocale();
    std::string key =
        locale + "|" + std::to_string(int(dateStyle)) + "|" + std::to_string(int(timeStyle));
    auto& formatters = _formatters();
    auto found = formatters.find(key);
    if (found != formatters.end()) return found->second.get();
    std::unique_ptr<icu::DateFormat> formatter;
    if (_icuStyle(dateStyle) == icu::DateFormat::kNone &&
        _icuStyle(timeStyle) == icu::DateFormat::kNone) {
        // ICU has no formatter without both parts; an empty layout formats as "".
        UErrorCode status = U_ZERO_ERROR;
        formatter = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(),
                                                            icu::Locale(locale.c_str()), status);
        if (U_FAILURE(status)) formatter.reset();
    } else {
        formatter.reset(icu::DateFormat::createDateTimeInstance(
            _icuStyle(dateStyle), _icuStyle(timeStyle), icu::Locale(locale.c_str())));
    }
    if (!formatter) return nullptr;
    return formatters.emplace(key, std::move(formatter)).first->second.get();
}

// The fixed-layout parser for the current locale and pattern, or null. Stored dates are
// Gregorian with ASCII digits whatever the locale's own calendar and digits are.
static icu::DateFormat* _patternParser(const char* pattern) {
    std::string locale = currentDateLocale();
    std::string key = locale + "|" + pattern;
    auto& formatters = _formatters();
    auto found = formatters.find(key);
    if (found != formatters.end()) return found->second.get();
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale parseLocale(locale.c_str());
    parseLocale.setKeywordValue("calendar", "gregorian", status);
    parseLocale.setKeywordValue("numbers", "latn", status);
    if (U_FAILURE(status)) return nullptr;
    auto parser = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(pattern, -1, US_INV),
                                                          parseLocale, status);
    if (U_FAILURE(status)) return nullptr;
    parser->setLenient(false);
    return formatters.emplace(key, std::move(parser)).first->second.get();
}

CFStringRef formatDate(CFAbsoluteTime time, CFDateFormatterStyle dateStyle,
                       CFDateFormatterStyle timeStyle) {
    icu::DateFormat* formatter = _styleFormatter(dateStyle, timeStyle);
    if (!formatter) return nullptr;
    icu::UnicodeString text;
    formatter->format((time + kCFAbsoluteTimeIntervalSince1970) * 1000.0, text);
    return CFStringCreateWithCharacters(reinterpret_cast<const UniChar*>(text.getBuffer()),
                                        text.length());
}

bool parseDate(const char* text, const char* pattern, CFAbsoluteTime* time) {
    icu::DateFormat* parser = _patternParser(pattern);
    if (!parser) return false;
    icu::ParsePosition position(0);
    UDate date = parser->parse(icu::UnicodeString::fromUTF8(text), position);
    if (position.getIndex() == 0) return false;
    *time = date / 1000.0 - kCFAbsoluteTimeIntervalSince1970;
    return true;
}

double getEpoch() {
    double epoch = 0.0;
    parseDate("1970:01:01 00:00:00 GMT", "yyyy:MM:dd HH:mm:ss Z", &epoch);
    return epoch;
}
