#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>
#include <vector>

#include "img/formats/dpx/files.h"

namespace {

using film_files::bytes;
using film_files::load;

// Fields of a standard and where they stand. Texts, numbers of 32 bits and reals, as "name offset, name offset ...",
// get values that no other field has.
struct field_set {
  struct given {
    const char* name;
    std::size_t offset;
    int bytes;
    std::uint32_t value;
    const char* text;
  };
  const char *texts, *numbers, *reals;
  std::vector<given> others;
};

const field_set dpx_fields{
    .texts =
        "dpx_version 8, image_filename 36, creation_date_time 136, creator 160, project_name 260, "
        "copyright 460, e0_description 820, source_image_filename 1432, source_image_date_time 1532, "
        "input_device_name 1556, input_device_serial_no 1588, film_format 1680, frame_identification 1732, "
        "slate_information 1764",
    .numbers =
        "generic_header_size 24, industry_header_size 28, user_header_size 32, e0_data_sign 780, "
        "e0_reference_low_code 784, e0_reference_high_code 792, e0_image_padding 816, source_x_offset 1408, "
        "source_y_offset 1412, source_width 1424, source_height 1428, pixel_aspect_x 1628, "
        "pixel_aspect_y 1632, frame_position 1712, sequence_length 1716, held_count 1720",
    .reals =
        "e0_reference_low_quantity 788, e0_reference_high_quantity 796, source_x_center 1416, "
        "source_y_center 1420, scanned_size_x 1636, scanned_size_y 1640, frame_rate 1724, shutter_angle 1728, "
        "tv_horizontal_sampling_rate 1932, tv_vertical_sampling_rate 1936, tv_frame_rate 1940, "
        "tv_time_offset 1944, tv_gamma 1948, tv_black_level 1952, tv_black_gain 1956, tv_breakpoint 1960, "
        "tv_white_level 1964, tv_integration_time 1968",
    .others = {
        {"image_elements", 770, 2, 7, "7"},
        {"tv_field_number", 1929, 1, 2, "2"},
        {"image_orientation", 768, 2, 0, "0 (left to right, top to bottom)"},
        {"image_width", 772, 4, 5, "5"},
        {"image_height", 776, 4, 3, "3"},
        {"e0_descriptor", 800, 1, 50, "50 (RGB)"},
        {"e0_transfer_characteristic", 801, 1, 3, "3 (unspecified logarithmic)"},
        {"e0_colorimetric_specification", 802, 1, 9, "9 (NTSC (SMPTE 170M))"},
        {"e0_bit_depth", 803, 1, 10, "10"},
        {"e0_packing", 804, 2, 1, "1 (filled, method A)"},
        {"e0_encoding", 806, 2, 0, "0 (none)"},
        {"e0_line_padding", 812, 4, 0, "0"},
        {"smpte_time_code", 1920, 4, 0x10203012, "10:20:30:12"},
        {"smpte_user_bits", 1924, 4, 0xDEADBEEF, "DE:AD:BE:EF"},
        {"tv_interlaced", 1928, 1, 1, "1 (2:1 interlaced)"},
        {"tv_video_standard", 1930, 1, 151, "151 (1125 lines, 2:1 interlaced, 16:9 (SMPTE 274M))"},
    }};

const field_set cineon_fields{
    .texts =
        "cineon_version 24, image_filename 32, creation_date 132, creation_time 144, image_label 452, "
        "source_image_filename 720, source_image_date 820, source_image_time 832, input_device_name 844, "
        "input_device_model 908, input_device_serial_no 940, film_format 1036, frame_identification 1076, "
        "slate_information 1108",
    .numbers =
        "generic_header_size 8, industry_header_size 12, user_header_size 16, image_channel_padding 688, "
        "source_x_offset 712, source_y_offset 716, frame_position 1068",
    .reals =
        "e0_reference_low_code 208, e0_reference_low_quantity 212, e0_reference_high_code 216, "
        "e0_reference_high_quantity 220, input_device_x_pitch 972, input_device_y_pitch 976, image_gamma 980, "
        "frame_rate 1072",
    .others = {
        {"image_orientation", 192, 1, 1, "1 (left to right, bottom to top)"},
        {"image_channels", 193, 1, 3, "3"},
        {"e0_bit_depth", 198, 1, 10, "10"},
        {"image_width", 200, 4, 5, "5"},
        {"image_height", 204, 4, 3, "3"},
        {"image_interleave", 680, 1, 0, "0"},
        {"image_packing", 681, 1, 5, "5"},
        {"image_data_sign", 682, 1, 1, "1"},
        {"image_sense", 683, 1, 2, "2"},
        {"image_line_padding", 684, 4, 0, "0"},
    }};

void for_each(const char* places, const std::function<void(const std::string& name, std::size_t offset)>& body) {
  std::istringstream in(places);
  std::size_t offset;
  for (std::string name; in >> name >> offset; in.ignore()) body(name, offset);
}

TEST(DpxMetadata, EveryFieldByItsName) {
  const auto expect_all = [](bytes file, const field_set& fields, std::map<std::string, std::string> expected) {
    for_each(fields.texts, [&](const std::string& name, std::size_t offset) {
      file.put_text(offset, (expected[name] = "t" + std::to_string(offset)) + '\0');
    });
    for_each(fields.numbers, [&](const std::string& name, std::size_t offset) {
      file.put32(offset, static_cast<std::uint32_t>(offset));
      expected[name] = std::to_string(offset);
    });
    for_each(fields.reals, [&](const std::string& name, std::size_t offset) {
      file.put_real(offset, static_cast<float>(offset) + 0.5F);
      expected[name] = std::to_string(offset) + ".5";
    });
    for (const auto& f : fields.others) {
      file.put(f.offset, f.value, f.bytes);
      expected[f.name] = f.text;
    }
    EXPECT_EQ(load(file).metadata, expected);
  };
  for (const bool big_endian : {true, false}) {
    film_files::shape s;
    s.big_endian = big_endian;
    bytes dpx = film_files::make_dpx(s);
    dpx.put_text(1664, "0123456789012345");
    expect_all(dpx, dpx_fields, {{"film_edge_code", "0123456789012345"}});
    s.packing = 5;
    expect_all(film_files::make_cineon(s), cineon_fields, {});
  }
}

TEST(DpxMetadata, WhatIsNotGivenHasNoText) {
  const img::image image = load(film_files::make_dpx({}));
  std::string names;
  for (const auto& [name, text] : image.metadata) names += name + " ";
  EXPECT_EQ(names,
            "dpx_version e0_bit_depth e0_descriptor e0_encoding e0_packing image_elements image_height "
            "image_orientation image_width ");
  EXPECT_EQ(image.timecode, img::timecode());
  EXPECT_EQ(image.timecode2, img::timecode());
  EXPECT_EQ(image.keycode, img::keycode());
  EXPECT_EQ(image.frame, -1);
  EXPECT_EQ(image.frame_rate_nm, 0);

  // Pixels that begin early are no header.
  film_files::shape early;
  early.offset = 1664;
  EXPECT_EQ(load(film_files::make_dpx(early)).timecode, img::timecode());
}

TEST(DpxMetadata, OddValuesAreMadeReadable) {
  bytes file = film_files::make_dpx({});
  file.put8(801, 13);
  file.put8(802, 200);
  file.put_text(160, std::string_view("caf\xE9 caf\xC3\xA9 \xE2\x82", 14));
  file.put_text(260, std::string(200, 'p'));
  const img::image image = load(file);
  EXPECT_EQ(image.metadata.at("e0_transfer_characteristic"), "13 (reserved)");
  EXPECT_EQ(image.metadata.at("e0_colorimetric_specification"), "200 (reserved)");
  EXPECT_EQ(image.metadata.at("creator"), "caf? caf\xC3\xA9 ??");
  EXPECT_EQ(image.metadata.at("project_name"), std::string(200, 'p'));
}

TEST(DpxMetadata, CodesAndRateOfTheImage) {
  bytes file = film_files::make_dpx({});
  file.put32(1920, 0x01020304);
  file.put32(1924, 0x05060708);
  file.put_text(1664, "0102030000040005");
  file.put32(1712, 1017);
  file.put_real(1724, 23.976F);
  const img::image image = load(file);
  EXPECT_EQ(image.timecode.code, 0x01020304u);
  EXPECT_EQ(image.timecode.user, 0x05060708u);
  EXPECT_EQ(image.timecode2.code, 0x05060708u);
  EXPECT_EQ(image.keycode, (img::keycode{1, 2, 4, 5, 3, 4, 64}));
  EXPECT_EQ(image.frame, 1017);

  bytes cineon = film_files::make_cineon({5, 3, 10, 50, true, 0, 2048, 5});
  cineon.put8(1024, 1);
  cineon.put8(1025, 2);
  cineon.put8(1026, 3);
  cineon.put32(1028, 4);
  cineon.put32(1032, 5);
  EXPECT_EQ(load(cineon).keycode, (img::keycode{1, 2, 4, 5, 3, 4, 64}));

  for (const char* text : {"                ", "01020300000400xx", "x102030000040005"}) {
    file.put_text(1664, text);
    const bool read = std::string_view(text).ends_with("xx");
    EXPECT_EQ(load(file).keycode.is_valid(), read) << text;
  }

  // At 50 frames a second the field mark of the code is half a frame.
  file.put32(1920, 0x81020304);
  file.put_real(1724, 50);
  EXPECT_EQ(to_text(load(file).timecode), "01:02:03:04+1/2");
}

TEST(DpxMetadata, RatesAsFractions) {
  struct rate {
    float film, tv;
    int nm, dn;
  };
  for (const rate& r : {rate{24, 25, 24, 1}, rate{0, 25, 25, 1}, rate{23.976F, 0, 24000, 1001},
                        rate{23.98F, 0, 24000, 1001}, rate{29.97F, 0, 30000, 1001}, rate{59.94F, 0, 60000, 1001},
                        rate{12.5F, 0, 25, 2}, rate{-24, 0, 0, 0}, rate{1e30F, 0, 0, 0}}) {
    bytes file = film_files::make_dpx({});
    file.put_real(1724, r.film);
    file.put_real(1940, r.tv);
    const img::image image = load(file);
    EXPECT_EQ(image.frame_rate_nm, r.nm) << r.film;
    EXPECT_EQ(image.frame_rate_dn, r.dn) << r.film;
  }
}

}  // namespace
