// FixedLocale.h - en_US in UTC for tests whose expected texts hold display dates, whatever the
// machine's settings are.
#pragma once

#include <cstdlib>
#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

namespace testsupport {

// A global test environment (register it with testing::AddGlobalTestEnvironment, which takes
// ownership) that sets TZ to UTC and ICU's default locale and time zone to en_US and UTC.
// lcAll null: LC_ALL, LC_TIME and LANG are removed, so dates follow ICU's default. Otherwise
// LC_ALL is set to lcAll, which the servers a test starts inherit.
class FixedLocaleEnvironment : public testing::Environment {
  public:
    explicit FixedLocaleEnvironment(const char* lcAll = nullptr) : lcAll_(lcAll) {}
    void SetUp() override {
        if (lcAll_) {
            setenv("LC_ALL", lcAll_, 1);
        } else {
            unsetenv("LC_ALL");
            unsetenv("LC_TIME");
            unsetenv("LANG");
        }
        setenv("TZ", "UTC", 1);
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(icu::Locale("en_US"), status);
        icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone("UTC"));
    }

  private:
    const char* lcAll_;
};

} // namespace testsupport
