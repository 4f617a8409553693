// Tests of the JSON that the launcher writes.
#include "core/json.h"

#include <gtest/gtest.h>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

TEST(JsonText, EscapesWhatCannotStandInAString) {
  fresh_launch();
  EXPECT_EQ(R"("")", json_text(std::string()));
  EXPECT_EQ(R"("D:\\my work\\a.jou")", json_text(std::string("D:\\my work\\a.jou")));
  EXPECT_EQ(R"("say \"hi\"")", json_text(std::string("say \"hi\"")));
  EXPECT_EQ(R"("one\r\n\ttwo")", json_text(std::string("one\r\n\ttwo")));
  EXPECT_EQ(R"("\u0000\u0001\u001f\u007f")", json_text(std::string("\0\x01\x1F\x7F", 4)));
  EXPECT_EQ("null", json_text_or_null(std::nullopt));
}

TEST(JsonText, IsUtf8) {
  fresh_launch();
  EXPECT_EQ("\"M\xC3\xBCller\"", json_text(std::string("M\xFCller")));
}

TEST(JsonNumbers, AreWrittenWithAPointAndNoMoreDigitsThanNeeded) {
  EXPECT_EQ("-1073741510", json_number(-1073741510));
  EXPECT_EQ("null", json_number(std::optional<std::int64_t>()));
  EXPECT_EQ("0.0", json_seconds(0));
  EXPECT_EQ("8.48", json_seconds(8'480'000));
  EXPECT_EQ("3600.000001", json_seconds(3'600'000'001));
  EXPECT_EQ("null", json_seconds(std::nullopt));
}

TEST(JsonMoment, IsUtcWithMilliseconds) {
  EXPECT_EQ("\"2026-11-22T10:00:00.123Z\"", json_moment(1'795'341'600'123'999));
  EXPECT_EQ("\"1970-01-01T00:00:00.000Z\"", json_moment(0));
  EXPECT_EQ("null", json_moment(std::nullopt));
}

TEST(JsonMembers, StandInTheOrderInWhichTheyCame) {
  std::string elements;
  add_element(elements, "1");
  add_element(elements, "\"b\"");
  std::string members;
  add_member(members, "b", json_array(elements));
  add_member(members, "a", json_bool(true));
  EXPECT_EQ(R"({"b": [1, "b"], "a": true})", json_object(members));
  EXPECT_EQ("[]", json_array(""));
}

}  // namespace
