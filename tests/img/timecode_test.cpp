#include "img/timecode.h"

#include <gtest/gtest.h>

namespace {

constexpr std::uint32_t field_2 = 0x8000u;         // bit 15
constexpr std::uint32_t field_2_of_50 = 1u << 31;  // bit 31
constexpr std::uint32_t drop = 0x40u;

TEST(timecode, of_frame) {
  struct row {
    int frame, rate;
    const char* text;
    std::uint32_t code;
  };
  const row rows[] = {
      {0, 2500, "00:00:00:00", 0},
      {24, 2500, "00:00:00:24", 0x24},
      {25, 2500, "00:00:01:00", 0x100},
      {25 * 3600 * 24 - 1, 2500, "23:59:59:24", 0x23595924},
      {25 * 3600 * 24, 2500, "", 0xFFFFFFFF},
      {-1, 2500, "", 0xFFFFFFFF},
      {24, 2398, "00:00:01:00", 0x100},
      {1799, 2997, "00:00:59;29", 0x5929 | drop},
      {1800, 2997, "00:01:00;02", 0x10002 | drop},
      {1800 + 1798, 2997, "00:02:00;02", 0x20002 | drop},
      {17981, 2997, "00:09:59;29", 0x95929 | drop},
      {17982, 2997, "00:10:00;00", 0x100000 | drop},
      {6 * 17982, 2997, "01:00:00;00", 0x1000000 | drop},
      {24 * 6 * 17982, 2997, "", 0xFFFFFFFF},
      {1, 5994, "00:00:00;00+1/2", drop | field_2},
      {3600, 5994, "00:01:00;02+0/2", 0x10002 | drop},
      {3601, 5994, "00:01:00;02+1/2", 0x10002 | drop | field_2},
      {50, 5000, "00:00:01:00+0/2", 0x100},
      {49, 5000, "00:00:00:24+1/2", 0x24 | field_2_of_50},
      {59, 6000, "00:00:00:29+1/2", 0x29 | field_2},
      {119, 12000, "00:00:00:29+3/4", 0x29},  // four pictures share a number, no field mark above 60
      {37, 1250, "00:00:02:12", 0x212},       // second 2 begins with frame 25
      {13, 1250, "00:00:01:00", 0x100},       // second 1 begins with frame 13 (12.5 rounded up)
      {15, 6001, "00:00:00:03+3/4", 0x03},    // just above the limit of two
      {47, 4800, "00:00:00:23+1/2", 0x23 | field_2},
  };
  for (const row& r : rows) {
    const img::timecode value = img::timecode_of_frame(r.frame, r.rate);
    EXPECT_EQ(img::to_text(value), r.text) << r.frame << " at " << r.rate;
    EXPECT_EQ(value.code, r.code) << r.frame << " at " << r.rate;
    EXPECT_EQ(value.is_valid(), *r.text != 0) << r.frame << " at " << r.rate;
  }
}

TEST(timecode, text) {
  struct row {
    const char* text;
    const char* written;
  };
  const row rows[] = {
      {"", ""},
      {"12", ""},
      {"10:20:30:12", "10:20:30:12"},
      {"10:20:30;12", "10:20:30;12"},
      {"10.20.30.12", "10:20:30:12"},
      {"10:20:30,12", ""},
      {"01:02", "00:01:02:00"},
      {"01;02", "00:00:01;02"},
      {"01.02", "00:00:01:02"},
      {"01-02", ""},
      {"01:02:03", "01:02:03:00"},
      {"01:02;03", "00:01:02;03"},
      {"01:02x03", ""},
      {"01:02:", "01:02:00:00"},
      {"10:20:30:12+1/2", "10:20:30:12+1/2"},
      {"10:20:30:12+2/2", "10:20:30:12"},
      {"10:20:30:12+-1/2", "10:20:30:12"},
      {"10:20:30:12+3/25", "10:20:30:12+03/25"},
      {"10:20:30:12+3/250", "10:20:30:12+003/250"},
      {"24:00:00:00", ""},
      {"00:60:00:00", ""},
      {"00:00:00:30", ""},
  };
  for (const row& r : rows) EXPECT_EQ(img::to_text(img::parse_timecode(r.text)), r.written) << r.text;
}

TEST(timecode, validity_and_rate) {
  struct row {
    std::uint32_t code, num, den;
    bool valid;
  };
  const row rows[] = {
      {0x23595929, 0, 1, true},  {0x23595930, 0, 1, false}, {0x23596029, 0, 1, false},
      {0x23605929, 0, 1, false}, {0x24000000, 0, 1, false}, {0xFFFFFFFF, 0, 1, false},
      {0xFFFFFFFE, 0, 1, false}, {0, 1, 1, false},          {0, 1, 2, true},
  };
  for (const row& r : rows) {
    EXPECT_EQ((img::timecode{r.code, 0, r.num, r.den}.is_valid()), r.valid) << std::hex << r.code << " " << r.num;
  }
  struct rate_row {
    std::uint32_t code;
    int rate;
    std::uint32_t num, den;
  };
  const rate_row rates[] = {{field_2, 6000, 1, 2},       {field_2, 5000, 0, 2}, {field_2_of_50, 5000, 1, 2},
                            {field_2_of_50, 5994, 0, 2}, {field_2, 2500, 0, 1}, {field_2, 12000, 0, 4}};
  for (const rate_row& r : rates) {
    img::timecode value{r.code, 0, 7, 9};
    img::set_timecode_rate(value, r.rate);
    EXPECT_EQ(value.num, r.num) << std::hex << r.code << " at " << std::dec << r.rate;
    EXPECT_EQ(value.den, r.den) << std::hex << r.code << " at " << std::dec << r.rate;
  }
}

TEST(keycode, text_and_validity) {
  const img::keycode value = img::parse_keycode("02 13 123456 0789 64");
  EXPECT_EQ(value, (img::keycode{2, 13, 123456, 789, 64, 4, 64}));
  EXPECT_TRUE(value.is_valid());
  EXPECT_EQ(img::to_text(value), "02 13 123456 0789 64");
  EXPECT_EQ(img::parse_keycode("02 13 123456 0789"), img::keycode());
  EXPECT_EQ(img::to_text(img::keycode()), "");
  EXPECT_FALSE(img::keycode().is_valid());

  int img::keycode::*const parts[] = {
      &img::keycode::manufacturer, &img::keycode::film_type,       &img::keycode::prefix,         &img::keycode::count,
      &img::keycode::offset,       &img::keycode::perfs_per_frame, &img::keycode::perfs_per_count};
  const int low[] = {0, 0, 0, 0, 0, 1, 20};
  const int high[] = {99, 99, 999999, 9999, 119, 15, 120};
  for (int i = 0; i < 7; ++i) {
    for (const auto& [number, valid] :
         {std::pair{low[i], true}, {low[i] - 1, false}, {high[i], true}, {high[i] + 1, false}}) {
      img::keycode changed = value;
      changed.*parts[i] = number;
      EXPECT_EQ(changed.is_valid(), valid) << "part " << i << " = " << number;
    }
  }
}

}  // namespace
