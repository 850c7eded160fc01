// FixedLocale.h - en_US in UTC for tests whose expected texts hold display dates, whatever the
// machine's settings are.
#pragma once

#include <cstdlib>
#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

namespace testsupport {

// A global test environment (testing::AddGlobalTestEnvironment takes it) setting TZ, and ICU's
// default locale and zone, to en_US in UTC. lcAll null: LC_ALL, LC_TIME and LANG are removed so
// dates follow ICU's default; otherwise LC_ALL is lcAll, which the servers a test starts inherit.
class FixedLocaleEnvironment : public testing::Environment {
  public:
    explicit FixedLocaleEnvironment(const char* lcAll = nullptr) : lcAll_(lcAll) {}
    void SetUp() override {
        if (lcAll_) setenv("LC_ALL", lcAll_, 1);
        for (const char* name : {"LC_ALL", "LC_TIME", "LANG"})
            if (!lcAll_) unsetenv(name);
        setenv("TZ", "UTC", 1);
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(icu::Locale("en_US"), status);
        icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone("UTC"));
    }

  private:
    const char* lcAll_;
};

} // namespace testsupport
