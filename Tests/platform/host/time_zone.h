// The zone of the machine, for a scope.
#pragma once

#include <cstdlib>
#include <ctime>

#include "platform/host/current_bias.h"

namespace host_test {

class time_zone {
 public:
  explicit time_zone(const char* zone) {
    ::setenv("TZ", zone, 1);
    take_effect();
  }
  time_zone(const time_zone&) = delete;
  time_zone& operator=(const time_zone&) = delete;
  ~time_zone() {
    ::unsetenv("TZ");
    take_effect();
  }

 private:
  static void take_effect() {
    ::tzset();
    platform::host::forget_current_bias();
  }
};

/// Far from Greenwich on both sides, halves and quarters of hours, zones with and without summer time on both
/// hemispheres, and two of rules: one that always has summer time and one that never has.
inline constexpr const char* zones[] = {"UTC0",
                                        "Europe/Paris",
                                        "America/St_Johns",
                                        "America/Los_Angeles",
                                        "Asia/Kolkata",
                                        "Asia/Kathmandu",
                                        "Australia/Lord_Howe",
                                        "Pacific/Apia",
                                        "Pacific/Kiritimati",
                                        "Pacific/Pago_Pago",
                                        "EVER-05:45SUMMER,J1/0,J365/25",
                                        "NEVER08:15"};

}  // namespace host_test
