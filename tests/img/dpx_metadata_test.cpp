#include <gtest/gtest.h>

#include <algorithm>

#include "film_files.h"
#include "img/format.h"
#include "support/temp_folder.h"

namespace {

using film_files::bytes;

img::image load_bytes(const bytes& file) {
  const support::temp_folder folder;
  support::write_file(folder / "a.dpx", file.data);
  img::image image;
  img::load(image, folder / "a.dpx");
  return image;
}

// A field of the standard, how it is put into the file and how it must print.
struct field {
  const char* name;
  std::size_t offset;
  char type;  // t text, 1 2 4 integer bytes, f real
  double number;
  const char* text;  // what is put for a text, what is expected for all
};

constexpr field dpx_fields[] = {
    {"dpx_version", 8, 't', 0, "V1.0"},
    {"generic_header_size", 24, '4', 1664, "1664"},
    {"industry_header_size", 28, '4', 384, "384"},
    {"user_header_size", 32, '4', 0, "0"},
    {"image_filename", 36, 't', 0, "shot.0001.dpx"},
    {"creation_date_time", 136, 't', 0, "2011:03:08:14:47:25:PST"},
    {"creator", 160, 't', 0, "scanner"},
    {"project_name", 260, 't', 0, "project"},
    {"copyright", 460, 't', 0, "owner"},
    {"image_orientation", 768, '2', 0, "0 (left to right, top to bottom)"},
    {"image_elements", 770, '2', 1, "1"},
    {"image_width", 772, '4', 5, "5"},
    {"image_height", 776, '4', 3, "3"},
    {"e0_data_sign", 780, '4', 0, "0"},
    {"e0_reference_low_code", 784, '4', 95, "95"},
    {"e0_reference_low_quantity", 788, 'f', 0.25, "0.25"},
    {"e0_reference_high_code", 792, '4', 685, "685"},
    {"e0_reference_high_quantity", 796, 'f', 2.046, "2.046"},
    {"e0_descriptor", 800, '1', 50, "50 (RGB)"},
    {"e0_transfer_characteristic", 801, '1', 3, "3 (unspecified logarithmic)"},
    {"e0_colorimetric_specification", 802, '1', 9, "9 (NTSC (SMPTE 170M))"},
    {"e0_bit_depth", 803, '1', 10, "10"},
    {"e0_packing", 804, '2', 1, "1 (filled, method A)"},
    {"e0_encoding", 806, '2', 0, "0 (none)"},
    {"e0_line_padding", 812, '4', 0, "0"},
    {"e0_image_padding", 816, '4', 7, "7"},
    {"e0_description", 820, 't', 0, "beauty"},
    {"source_x_offset", 1408, '4', 11, "11"},
    {"source_y_offset", 1412, '4', 12, "12"},
    {"source_x_center", 1416, 'f', 1024.5, "1024.5"},
    {"source_y_center", 1420, 'f', 778, "778"},
    {"source_width", 1424, '4', 4096, "4096"},
    {"source_height", 1428, '4', 3112, "3112"},
    {"source_image_filename", 1432, 't', 0, "roll.dpx"},
    {"source_image_date_time", 1532, 't', 0, "2001:01:02:03:04:05:GMT"},
    {"input_device_name", 1556, 't', 0, "Scan One"},
    {"input_device_serial_no", 1588, 't', 0, "42"},
    {"pixel_aspect_x", 1628, '4', 1200, "1200"},
    {"pixel_aspect_y", 1632, '4', 1300, "1300"},
    {"scanned_size_x", 1636, 'f', 24.5, "24.5"},
    {"scanned_size_y", 1640, 'f', 18.25, "18.25"},
    {"film_edge_code", 1664, 't', 0, "0123456789012345"},
    {"film_format", 1680, 't', 0, "Academy"},
    {"frame_position", 1712, '4', 1017, "1017"},
    {"sequence_length", 1716, '4', 240, "240"},
    {"held_count", 1720, '4', 1, "1"},
    {"frame_rate", 1724, 'f', 24, "24"},
    {"shutter_angle", 1728, 'f', 172.8, "172.8"},
    {"frame_identification", 1732, 't', 0, "key"},
    {"slate_information", 1764, 't', 0, "12A take 3"},
    {"smpte_time_code", 1920, '4', 0x10203012, "10:20:30:12"},
    {"smpte_user_bits", 1924, '4', 0xDEADBEEF, "DE:AD:BE:EF"},
    {"tv_interlaced", 1928, '1', 1, "1 (2:1 interlaced)"},
    {"tv_field_number", 1929, '1', 2, "2"},
    {"tv_video_standard", 1930, '1', 151, "151 (1125 lines, 2:1 interlaced, 16:9 (SMPTE 274M))"},
    {"tv_horizontal_sampling_rate", 1932, 'f', 74.25, "74.25"},
    {"tv_vertical_sampling_rate", 1936, 'f', 60, "60"},
    {"tv_frame_rate", 1940, 'f', 29.97, "29.97"},
    {"tv_time_offset", 1944, 'f', 0.5, "0.5"},
    {"tv_gamma", 1948, 'f', 2.2, "2.2"},
    {"tv_black_level", 1952, 'f', 64, "64"},
    {"tv_black_gain", 1956, 'f', 1.5, "1.5"},
    {"tv_breakpoint", 1960, 'f', 0.018, "0.018"},
    {"tv_white_level", 1964, 'f', 940, "940"},
    {"tv_integration_time", 1968, 'f', 0.02, "0.02"},
};

constexpr field cineon_fields[] = {
    {"cineon_version", 24, 't', 0, "V4.5"},
    {"image_filename", 32, 't', 0, "a.cin"},
    {"creation_date", 132, 't', 0, "2008:02:28"},
    {"creation_time", 144, 't', 0, "15:37:36+10"},
    {"e0_bit_depth", 198, '1', 10, "10"},
    {"image_width", 200, '4', 5, "5"},
    {"image_height", 204, '4', 3, "3"},
    {"e0_reference_high_quantity", 220, 'f', 2.046, "2.046"},
    {"image_label", 452, 't', 0, "label"},
    {"source_x_offset", 712, '4', 3, "3"},
    {"input_device_name", 844, 't', 0, "scanner"},
    {"image_gamma", 980, 'f', 1.7, "1.7"},
    {"frame_position", 1068, '4', 99, "99"},
    {"frame_rate", 1072, 'f', 25, "25"},
    {"slate_information", 1108, 't', 0, "slate"},
};

void put(bytes& file, const field& f) {
  switch (f.type) {
    case 't':
      file.put_text(f.offset, std::string(f.text) + (f.offset == 1664 ? "" : std::string(1, '\0')));
      break;
    case 'f':
      file.put_real(f.offset, static_cast<float>(f.number));
      break;
    default:
      file.put(f.offset, static_cast<std::uint32_t>(f.number), f.type - '0');
  }
}

TEST(DpxMetadata, EveryFieldByItsName) {
  for (const bool big_endian : {true, false}) {
    for (const bool cineon : {false, true}) {
      film_files::shape s;
      s.big_endian = big_endian;
      s.packing = cineon ? 5 : 1;
      bytes file = cineon ? film_files::make_cineon(s) : film_files::make_dpx(s);
      const auto check_all = [&](const auto& fields) {
        for (const field& f : fields) put(file, f);
        const img::image image = load_bytes(file);
        for (const field& f : fields) {
          const auto found = image.metadata.find(f.name);
          ASSERT_NE(found, image.metadata.end()) << f.name;
          EXPECT_EQ(found->second, f.text) << f.name;
        }
        if (!cineon) {
          EXPECT_EQ(image.metadata.size(), std::size(dpx_fields));
        }
      };
      cineon ? check_all(cineon_fields) : check_all(dpx_fields);
    }
  }
}

TEST(DpxMetadata, WhatIsNotGivenHasNoText) {
  const img::image image = load_bytes(film_files::make_dpx({}));
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
  EXPECT_EQ(load_bytes(film_files::make_dpx(early)).timecode, img::timecode());
}

TEST(DpxMetadata, CodesOutsideTheStandardAreReserved) {
  bytes file = film_files::make_dpx({});
  file.put8(801, 13);
  file.put8(802, 200);
  const img::image image = load_bytes(file);
  EXPECT_EQ(image.metadata.at("e0_transfer_characteristic"), "13 (reserved)");
  EXPECT_EQ(image.metadata.at("e0_colorimetric_specification"), "200 (reserved)");
}

TEST(DpxMetadata, TextIsMadeValid) {
  bytes file = film_files::make_dpx({});
  file.put_text(160, std::string_view("caf\xE9 caf\xC3\xA9 \xE2\x82", 14));
  file.put_text(260, std::string(200, 'p'));
  const img::image image = load_bytes(file);
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
  const img::image image = load_bytes(file);
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
  EXPECT_EQ(load_bytes(cineon).keycode, (img::keycode{1, 2, 4, 5, 3, 4, 64}));

  for (const char* text : {"                ", "01020300000400xx", "x102030000040005"}) {
    file.put_text(1664, text);
    const bool read = std::string_view(text).ends_with("xx");
    EXPECT_EQ(load_bytes(file).keycode.is_valid(), read) << text;
  }
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
    const img::image image = load_bytes(file);
    EXPECT_EQ(image.frame_rate_nm, r.nm) << r.film;
    EXPECT_EQ(image.frame_rate_dn, r.dn) << r.film;
  }
}

// At 50 frames a second the field mark of the code is half a frame.
TEST(DpxMetadata, FieldMarkBecomesASubFrame) {
  bytes file = film_files::make_dpx({});
  file.put32(1920, 0x81020304);
  file.put_real(1724, 50);
  EXPECT_EQ(to_text(load_bytes(file).timecode), "01:02:03:04+1/2");
}

}  // namespace
