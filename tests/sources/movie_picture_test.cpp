// The pixels of movies: matrix and range by the stream's tags, alpha, and precision to the last step.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <fstream>

#include "support/numbered_movie.h"
#include "support/temp_folder.h"

namespace {

using support::open_movie;

class movie_picture : public support::movie_maker {
 protected:
  // The first picture of a movie of raw samples encoded without loss. The tags are said of the samples as well, or
  // newer versions of ffmpeg would convert to them.
  std::shared_ptr<img::image> lossless(const std::string& name, const std::string& samples, const std::string& form,
                                       int width, int height, const std::string& options,
                                       const std::string& tags = "") {
    support::write_file(file("raw"), samples);
    if (!support::run_ffmpeg("-f rawvideo -pix_fmt " + form + " -s " + std::to_string(width) + "x" +
                             std::to_string(height) + " -r 25 " + tags + " -i " + file("raw") + " " + options + " " +
                             tags + " " + file(name)))
      return nullptr;
    const auto clip = open_movie(file(name)).opened;
    auto image = std::make_shared<img::image>();
    if (!clip || !clip->read(0, 0, *image)) return nullptr;
    return image;
  }
};

TEST_F(movie_picture, few_bits_reach_from_black_to_white) {
  for (const char* form : {"rgb555le", "rgb565le", "rgb555be"}) {
    const bool big = std::string_view(form).ends_with("be");
    const int one = std::string_view(form).starts_with("rgb565") ? 0x0821 : 0x0421;  // 1 in each colour
    const int white = std::string_view(form).starts_with("rgb565") ? 0xFFFF : 0x7FFF;
    std::string samples;
    for (const int value : {white, one}) {
      samples += static_cast<char>(big ? value >> 8 : value);
      samples += static_cast<char>(big ? value : value >> 8);
    }
    const auto image = lossless(std::string(form) + ".mov", samples, form, 2, 1, "-c:v rawvideo");
    ASSERT_TRUE(image) << form;
    for (int p : {0, 1, 2}) {
      EXPECT_EQ(image->row(p, 0)[0], 255) << form;
      EXPECT_EQ(image->row(p, 0)[1], p == 1 && white == 0xFFFF ? 4 : 8) << form;
    }
  }
}

// Writes a, b, c and d of the matrix in the header of a movie's one track (ISO/IEC 14496-12, 8.3.2).
void turn(const std::string& path, const std::array<int, 4>& matrix) {
  std::string bytes = support::read_file(path);
  const std::size_t header = bytes.find("tkhd");
  ASSERT_LT(header + 80, bytes.size());
  constexpr std::size_t places[] = {44, 48, 56, 60};
  for (std::size_t i = 0; i < 4; ++i) {
    const auto value = static_cast<std::uint32_t>(matrix[i]) << 16;
    for (std::size_t byte = 0; byte < 4; ++byte)
      bytes[header + places[i] + byte] = static_cast<char>(value >> (24 - 8 * byte));
  }
  support::write_file(path, bytes);
}

TEST_F(movie_picture, turned_upright) {
  // Four pixels that are told apart, and where they lie after the container's turn, clockwise.
  const std::string samples("\x10\x50\x90\xD0", 4);
  struct row {
    const char* turn;
    std::array<int, 4> matrix;
    int width;
    std::string pixels;
  };
  const row rows[] = {{"0", {1, 0, 0, 1}, 4, "\x10\x50\x90\xD0"},
                      {"90", {0, 1, -1, 0}, 1, "\x10\x50\x90\xD0"},
                      {"180", {-1, 0, 0, -1}, 4, "\xD0\x90\x50\x10"},
                      {"270", {0, -1, 1, 0}, 1, "\xD0\x90\x50\x10"}};
  for (const row& r : rows) {
    const std::string path = file(std::string("turned") + r.turn + ".mov");
    support::write_file(file("raw"), samples);
    ASSERT_TRUE(support::run_ffmpeg("-f rawvideo -pix_fmt gray -s 4x1 -r 25 -i " + file("raw") +
                                    " -c:v png -pix_fmt gray " + file("level.mov")));
    ASSERT_TRUE(support::run_ffmpeg("-i " + file("level.mov") + " -c copy -aspect 8 " + path));
    turn(path, r.matrix);
    const auto result = open_movie(path);
    const auto clip = result.opened;
    ASSERT_TRUE(clip);
    EXPECT_EQ(result.pixel_aspect, r.width == 4 ? 2 : 0.5);
    EXPECT_EQ(clip->width(), r.width);
    EXPECT_EQ(clip->height(), 4 / r.width);
    img::image image;
    ASSERT_TRUE(clip->read(0, 0, image));
    ASSERT_EQ(image.width, r.width);
    for (std::size_t i = 0; i < 4; ++i) {
      EXPECT_EQ(image.data[0].data()[i], static_cast<std::uint8_t>(r.pixels[i])) << r.turn << " " << i;
    }
  }
}

TEST_F(movie_picture, colours_and_alpha) {
  struct row {
    const char* file;
    const char* options;
    bool alpha;
    int tolerance;
  };
  const row rows[] = {
      {"bt601.mkv", "-vf scale=out_color_matrix=bt601:out_range=tv -c:v ffv1 -pix_fmt yuv444p -colorspace smpte170m",
       false, 2},
      {"bt709.mkv", "-vf scale=out_color_matrix=bt709:out_range=tv -c:v ffv1 -pix_fmt yuv420p -colorspace bt709", false,
       2},
      {"bt2020.mkv", "-vf scale=out_color_matrix=bt2020:out_range=tv -c:v ffv1 -pix_fmt yuv422p10 -colorspace bt2020nc",
       false, 2},
      {"full.mkv",
       "-vf scale=out_color_matrix=bt709:out_range=pc -c:v ffv1 -pix_fmt yuv444p12 -colorspace bt709 -color_range pc",
       false, 2},
      {"h264_full.mov",
       "-vf scale=out_color_matrix=bt709:out_range=pc -c:v libx264 -qp 1 -pix_fmt yuv444p -colorspace bt709 "
       "-color_range pc",
       false, 2},
      {"h265_2020.mov",
       "-vf scale=out_color_matrix=bt2020:out_range=tv -c:v libx265 -x265-params log-level=none:qp=4 "
       "-pix_fmt yuv420p10 -colorspace bt2020nc -color_range tv",
       false, 3},
      {"mjpeg.avi", "-vf scale=out_color_matrix=bt601:out_range=pc -c:v mjpeg -q:v 1 -pix_fmt yuvj444p", false, 3},
      {"alpha_ffv1.mkv",
       "-vf format=yuva444p,scale=out_color_matrix=bt601:out_range=tv -c:v ffv1 -pix_fmt yuva444p10 "
       "-colorspace smpte170m",
       true, 2},
      {"alpha_prores.mov",
       "-vf scale=out_color_matrix=bt709:out_range=tv,format=yuva444p10 -c:v prores_ks -profile:v 4444 -pix_fmt "
       "yuva444p10 "
       "-colorspace bt709 -bsf:v prores_metadata=colorspace=bt709",
       true, 3},
      // The codec says nothing of the matrix, the container does.
      {"alpha_prores_colr.mov",
       "-vf scale=out_color_matrix=bt709:out_range=tv,format=yuva444p10 -c:v prores_ks -profile:v 4444 "
       "-pix_fmt yuva444p10 -colorspace bt709 -color_primaries bt709 -color_trc bt709 -movflags +write_colr",
       true, 3},
      {"alpha_qtrle.mov", "-c:v qtrle -pix_fmt argb", true, 0},
      {"alpha_png.mov", "-c:v png -pix_fmt rgba", true, 0},
      {"alpha_png16.mov", "-c:v png -pix_fmt rgba64be", true, 0},
      {"alpha_raw.avi", "-c:v rawvideo -pix_fmt bgra", true, 0},
      {"alpha_huffyuv.avi", "-c:v huffyuv -pix_fmt bgra", true, 0},
      {"alpha_ffv1_rgb.mkv", "-c:v ffv1 -pix_fmt bgra", true, 0},
      {"rgb_png.mov", "-c:v png -pix_fmt rgb24", false, 0},
      {"rgb_raw.avi", "-c:v rawvideo -pix_fmt bgr24", false, 0},
      {"rgb_r210.mov", "-c:v r210 -pix_fmt gbrp10", false, 1},
  };
  for (const row& r : rows) {
    const std::string arguments = std::string("-f lavfi -i color=c=0xC86432@") + (r.alpha ? "0.502" : "1") +
                                  ":s=64x48:d=0.2:r=25,format=" + (r.alpha ? "rgba" : "rgb24") + " " + r.options + " " +
                                  file(r.file);
    ASSERT_TRUE(support::run_ffmpeg(arguments)) << arguments;
    const auto clip = opened(r.file);
    ASSERT_TRUE(clip);
    img::image image;
    ASSERT_TRUE(clip->read(1, 0, image)) << r.file;
    EXPECT_EQ(clip->has_alpha(), r.alpha) << r.file;
    ASSERT_TRUE(image.has_plane(2)) << r.file;
    const int wanted[] = {0x32, 0x64, 0xC8, 128};
    for (int plane = 0; plane < 3 + r.alpha; ++plane)
      EXPECT_NEAR(image.row(plane, 20)[20], wanted[plane], plane == 3 ? 1 : r.tolerance) << r.file << ' ' << plane;
    EXPECT_EQ(image.has_plane(3), r.alpha) << r.file;
    EXPECT_EQ(image.frame, 1);
    EXPECT_EQ(image.user[0], (math::point{32, 24}));
    EXPECT_EQ(image.frame_rate_nm, 2500);
    EXPECT_EQ(image.frame_rate_dn, 100);
  }
}

TEST_F(movie_picture, without_tags_the_height_decides) {
  // Y 81, U 90, V 240: pure red by BT.601, and by BT.709 one that leaves the range.
  for (const auto& [height, name] : {std::pair{576, "sd.mkv"}, {720, "hd.mkv"}}) {
    const std::string plane(static_cast<std::size_t>(64 * height), '\0');
    std::string samples =
        std::string(plane.size(), '\x51') + std::string(plane.size(), '\x5A') + std::string(plane.size(), '\xF0');
    const auto image = lossless(name, samples, "yuv444p", 64, height, "-c:v ffv1");
    ASSERT_TRUE(image);
    // By hand: R = 1.164 * 65 + 1.596 * 112 (1.793 by 709), G = 1.164 * 65 + 0.392 * 38 - 0.813 * 112 (0.213, 0.533).
    EXPECT_NEAR(image->row(2, 9)[9], height == 576 ? 254 : 255, 1);
    EXPECT_NEAR(image->row(1, 9)[9], height == 576 ? 0 : 24, 1);
  }
}

TEST_F(movie_picture, chroma_lies_where_the_stream_says) {
  // Blue grows by 2 a pixel to the right and by 1 downward, sampled as each siting has it: gray luma, full range.
  constexpr int width = 40;
  constexpr int height = 30;
  struct row {
    const char* name;
    const char* form;
    const char* options;
    double across;  // of the first chroma sample, in pixels
    double down;
    const char* tag = "";
  };
  const row rows[] = {
      {"left.mkv", "yuv420p", "-c:v ffv1", 0, 0.5},
      {"left.mov", "yuv420p", "-c:v libx264 -qp 0", 0, 0.5},
      {"top.mov", "yuv420p", "-c:v libx264 -qp 0", 0, 0, " -chroma_sample_location topleft"},
      {"center.mkv", "yuv420p", "-c:v libx264 -qp 0", 0.5, 0.5, " -chroma_sample_location center"},
      {"bottom.mkv", "yuv420p", "-c:v libx264 -qp 0", 0, 1, " -chroma_sample_location bottomleft"},
      {"deep.mkv", "yuv420p10le", "-c:v ffv1", 0, 0.5},
      {"left422.mkv", "yuv422p", "-c:v ffv1", 0, 0},
      {"deep422.mkv", "yuv422p10le", "-c:v ffv1", 0, 0},
      {"packed.mkv", "yuv422p", "-vf scale=in_range=full:out_range=full -c:v rawvideo -pix_fmt uyvy422", 0, 0},
      {"jpeg.mov", "yuvj420p", "-c:v mjpeg -q:v 1 -qmin 1", 0.5, 0.5},
      {"jpeg422.mov", "yuvj422p", "-c:v mjpeg -q:v 1 -qmin 1", 0.5, 0},
  };
  for (const row& r : rows) {
    const bool deep = std::string_view(r.form).ends_with("le");
    const bool both = std::string_view(r.form).find("420") != std::string_view::npos;
    std::string samples;
    const auto add = [&](double value) {
      const int sample = static_cast<int>(std::lround(deep ? 4 * value : value));
      samples += static_cast<char>(sample);
      if (deep) samples += static_cast<char>(sample >> 8);
    };
    const double blue_of_chroma = r.form[3] == 'j' ? 1.772 : 1.8556;  // JPEG has BT.601
    const auto chroma = [&](double x, double y) { return 128 + (2 * x + y - 60) / blue_of_chroma; };
    for (int i = 0; i < width * height; ++i) add(128);
    for (int y = 0; y < height; y += both ? 2 : 1) {
      for (int x = 0; x < width; x += 2) add(chroma(x + r.across, y + r.down));
    }
    for (int i = 0; i < width / 2 * height / (both ? 2 : 1); ++i) add(128);
    const auto image = lossless(r.name, samples, r.form, width, height, std::string(r.options) + " -strict -2",
                                std::string("-colorspace bt709 -color_range pc") + r.tag);
    ASSERT_TRUE(image) << r.name;
    double worst = 0.0;
    double sum = 0.0;
    for (int y = 2; y < height - 2; ++y) {
      for (int x = 2; x < width - 2; ++x) {
        const double off = image->row(0, y)[x] - (128.0 + 2 * x + y - 60);
        worst = std::max(worst, std::fabs(off));
        sum += off;
      }
    }
    EXPECT_LE(worst, 2.0) << r.name;
    EXPECT_LE(std::fabs(sum / ((width - 4) * (height - 4))), 0.25) << r.name << " is shifted";
  }
}

TEST_F(movie_picture, more_bits_are_rounded_once) {
  // A ramp through all values of a depth, gray with full range: each byte is the nearest one.
  for (const auto& [bits, form, name] : {std::tuple{10, "yuv444p10le", "a.mkv"},
                                         {12, "yuv444p12le", "b.mkv"},
                                         {10, "gray10le", "c.mkv"},
                                         {12, "gray12le", "d.mkv"},
                                         {10, "gbrp10le", "e.mkv"},
                                         {12, "gbrp12le", "f.mkv"},
                                         {16, "gray16le", "g.mkv"}}) {
    const int width = 1 << std::min(bits, 12);
    const int step = bits == 16 ? 16 : 1;
    const bool yuv = form[0] == 'y';
    const int planes = form[1] == 'r' ? 1 : 3;
    std::string samples;
    for (int plane = 0; plane < planes; ++plane) {
      for (int i = 0; i < 2 * width; ++i) {
        const int value = yuv && plane > 0 ? 1 << (bits - 1) : i % width * step;
        samples += static_cast<char>(value & 255);
        samples += static_cast<char>(value >> 8);
      }
    }
    const auto image = lossless(name, samples, form, width, 2, "-c:v ffv1 -strict -2", "-color_range pc");
    ASSERT_TRUE(image) << form;
    ASSERT_EQ(image->has_plane(1), planes == 3) << form;
    int wrong = 0;
    for (int i = 0; i < width; ++i) {
      const double exact = i * step * 255.0 / ((1 << bits) - 1);
      for (int plane = 0; plane < planes; ++plane) wrong += std::fabs(image->row(plane, 1)[i] - exact) > 0.52;
    }
    EXPECT_EQ(wrong, 0) << form;
  }
}

TEST_F(movie_picture, odd_sizes) {
  for (const char* form : {"yuv420p", "yuv422p10le", "yuv444p", "gray", "yuv411p", "yuv410p", "gbrp"}) {
    const std::string name = file(std::string(form) + ".mkv");
    ASSERT_TRUE(support::run_ffmpeg(
        "-f lavfi -i color=c=0xC86432:s=64x48:d=0.1:r=25 -vf "
        "scale=53:39:out_color_matrix=bt601:out_range=tv -c:v ffv1 -strict -2 -colorspace smpte170m "
        "-pix_fmt " +
        std::string(form) + " " + name));
    const auto clip = open_movie(name).opened;
    ASSERT_TRUE(clip) << form;
    img::image image;
    ASSERT_TRUE(clip->read(0, 0, image)) << form;
    ASSERT_EQ(image.width, 53);
    ASSERT_EQ(image.height, 39);
    if (!image.has_plane(2)) continue;
    for (const auto& [x, y] : {std::pair{0, 0}, {52, 38}, {52, 0}, {0, 38}, {26, 19}}) {
      EXPECT_NEAR(image.row(2, y)[x], 0xC8, 3) << form << ' ' << x << ',' << y;
      EXPECT_NEAR(image.row(0, y)[x], 0x32, 3) << form << ' ' << x << ',' << y;
    }
  }
}

}  // namespace
