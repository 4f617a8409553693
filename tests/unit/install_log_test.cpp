// Tests of the log of installations beside the rows of tests/cases.
#include "install/install_log.h"

#include <gtest/gtest.h>

#include <string>

#include "core/text.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

constexpr const char *log_path = "C:\\work\\install_smpd_log.txt";
constexpr std::time_t start_time = 1'234'567'890;

std::string day(std::time_t time) {
  return calendar_text(time).substr(0, 24);
}

TEST(InstallLog, BeginsAndEndsWithATime) {
  given_time(start_time);
  install_log_open();
  install_log_write("%s%n\n");
  platform::sleep_ms(5'000);
  install_log_close();
  EXPECT_EQ("\r\n------------- start @ " + day(start_time) +
                "\r\n\r\n%s%n\r\n\r\n------------- end @ " + day(start_time + 5) + "\r\n\r\n",
            file_content(log_path));
}

TEST(InstallLog, EndsOnceWhenTheProgramEnds) {
  EXPECT_EQ(5, status_of_exit([] {
              install_log_open();
              install_log_close();
              platform::exit_program(5);
            }));
  const std::string log = *file_content(log_path);
  EXPECT_EQ(log.find("------------- end"), log.rfind("------------- end"));
}

}  // namespace
