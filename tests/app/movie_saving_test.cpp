// Movies from the command line: every codec in every container, read back with our own clip and with ffprobe.
#include <cmath>
#include <csignal>
#include <set>

#include "paths.h"
#include "sources/movie_codec.h"
#include "support/program_test.h"
#include "support/saved_movie.h"
#include "support/wait.h"

namespace {

namespace fs = std::filesystem;

constexpr int click_frame = 7;

class movie_saving : public support::program_test {
 protected:
  void scenes(int count, int width, int height, bool alpha) const {
    for (int i = 0; i < count; ++i) {
      char name[32];
      std::snprintf(name, sizeof name, "in.%04d.tga", i);
      img::save(support::numbered_scene(i, width, height, alpha), folder / name, nullptr, {});
    }
  }
  std::shared_ptr<sources::clip> opened(const std::string& name) const {
    const auto clip = support::open_movie(folder / name).opened;
    EXPECT_TRUE(clip) << name << " is not opened";
    return clip;
  }
  img::image still(const std::string& name) const {
    img::image image;
    img::load(image, folder / name);
    return image;
  }
};

struct kind {
  const sources::movie_codec* codec;
  std::string container;
  std::string name() const { return std::string(codec->name) + '.' + container; }
};

std::vector<kind> all_kinds() {
  std::vector<kind> kinds;
  for (const sources::movie_codec& codec : sources::movie_codecs()) {
    for (const char* container : {"mov", "mp4", "mkv", "avi"}) {
      if (sources::holds_codec(codec, container)) kinds.push_back({&codec, container});
    }
  }
  return kinds;
}

// A mean difference that the codec may make on the scenes.
double most_difference(std::string_view codec) {
  if (codec == "ffv1" || codec == "png" || codec == "raw") return 0.0;
  if (codec == "prores_4444") return 0.7;
  if (codec == "prores_hq" || codec == "prores_422") return 1.0;
  if (codec.starts_with("dnxhr")) return 0.5;
  return codec.starts_with("h26") ? 1.5 : 3.0;
}

struct tags {
  std::string codec, profile, form, range, matrix;
};

tags tags_of(std::string_view codec) {
  static const std::map<std::string_view, tags> table = {
      {"prores_proxy", {"prores", "Proxy", "yuv422p10le", "", "smpte170m"}},
      {"prores_lt", {"prores", "LT", "yuv422p10le", "", "smpte170m"}},
      {"prores_422", {"prores", "Standard", "yuv422p10le", "", "smpte170m"}},
      {"prores_hq", {"prores", "HQ", "yuv422p10le", "", "smpte170m"}},
      {"prores_4444", {"prores", "4444", "yuva444p12le", "", "smpte170m"}},
      {"dnxhr_lb", {"dnxhd", "DNXHR LB", "yuv422p", "tv", "bt709"}},
      {"dnxhr_sq", {"dnxhd", "DNXHR SQ", "yuv422p", "tv", "bt709"}},
      {"dnxhr_hq", {"dnxhd", "DNXHR HQ", "yuv422p", "tv", "bt709"}},
      {"dnxhr_hqx", {"dnxhd", "DNXHR HQX", "yuv422p10le", "tv", "bt709"}},
      {"dnxhr_444", {"dnxhd", "DNXHR 444", "yuv444p10le", "tv", "bt709"}},
      {"h264", {"h264", "", "yuv420p", "tv", "smpte170m"}},
      {"h265", {"hevc", "", "yuv420p", "tv", "smpte170m"}},
      {"mjpeg", {"mjpeg", "", "yuvj422p", "pc", "bt470bg"}},
      {"ffv1", {"ffv1", "", "bgra", "", ""}},
      {"png", {"png", "", "rgba", "", ""}},
      {"raw", {"rawvideo", "", "", "", ""}},
  };
  return table.at(codec);
}

TEST_F(movie_saving, every_codec_in_every_container) {
  constexpr int frames = 13;
  scenes(frames, 320, 180, true);
  // Frame N begins with sample N * 2002 at 24000 / 1001 frames a second.
  support::write_click(folder / "click.wav", 48000, frames * 2002, click_frame * 2002);
  strings line = {"--fps=23.98",         "in.####.tga",
                  "click.wav",           "--audible=1",
                  "--timeline=13",       "--wa_end=13",
                  "--mask_size=320,180", "--back_color=transparent",
                  "--frame_base=1",      "--save_mask_as_sequence=ref.####.tga"};
  for (const kind& k : all_kinds()) {
    line.push_back("--save_options=codec=" + std::string(k.codec->name));
    line.push_back("--save_mask_as_sequence=" + k.name());
  }
  line.push_back("--exit=status");
  const support::outcome found = run(line);
  ASSERT_EQ(found.errors, "");
  ASSERT_EQ(found.code, 0);
  std::vector<img::image> wanted;
  for (int i = 0; i < frames; ++i)
    wanted.push_back(still("ref.00" + std::string(i < 9 ? "0" : "") + std::to_string(i + 1) + ".tga"));
  for (const kind& k : all_kinds()) {
    SCOPED_TRACE(k.name());
    const auto clip = opened(k.name());
    if (!clip) continue;
    EXPECT_EQ(clip->frames(), frames);
    EXPECT_EQ(clip->rate(), 2398);
    EXPECT_EQ(clip->width(), 320);
    EXPECT_EQ(clip->height(), 180);
    EXPECT_EQ(clip->has_alpha(), k.codec->alpha);
    for (int i = 0; i < frames; ++i) {
      img::image image;
      ASSERT_TRUE(clip->read(i, 0, image)) << i;
      EXPECT_EQ(support::number_in(image), i);
      EXPECT_LE(support::mean_difference(image, wanted[static_cast<std::size_t>(i)]), most_difference(k.codec->name));
      if (k.codec->alpha && image.has_plane(3)) {
        EXPECT_EQ(image.row(3, 90)[10], 255);
        EXPECT_NEAR(image.row(3, 90)[300], 60, 1);
      }
    }
    const auto sound = clip->read_audio();
    ASSERT_TRUE(sound);
    EXPECT_EQ(sound->sample_rate, 48000u);
    EXPECT_NEAR(static_cast<double>(support::loudest(*sound)), click_frame * 2002.0, k.container == "mp4" ? 40 : 0);
    // A block of AAC has 1024 samples.
    EXPECT_NEAR(static_cast<double>(sound->frames()), frames * 2002.0, k.container == "mp4" ? 1024 : 0);
    if (!support::have_ffprobe()) continue;
    auto all = support::probed(folder / k.name());
    const auto video = [&](const std::string& key) { return all["streams.stream.0." + key]; };
    const tags expected = tags_of(k.codec->name);
    EXPECT_EQ(video("codec_name"), expected.codec);
    EXPECT_TRUE(expected.profile.empty() || video("profile") == expected.profile) << video("profile");
    EXPECT_TRUE(expected.form.empty() || video("pix_fmt") == expected.form) << video("pix_fmt");
    EXPECT_TRUE(expected.range.empty() || video("color_range") == expected.range) << video("color_range");
    EXPECT_TRUE(expected.matrix.empty() || video("color_space") == expected.matrix) << video("color_space");
    if (k.container == "mov" && !expected.matrix.empty() && k.codec->name != "mjpeg") {
      EXPECT_EQ(video("color_primaries"), "bt709");
      EXPECT_EQ(video("color_transfer"), "bt709");
    }
    EXPECT_EQ(video("avg_frame_rate"), "24000/1001");
    EXPECT_EQ(video("nb_read_frames"), std::to_string(frames));
    EXPECT_NEAR(std::atof(all["format.duration"].c_str()), frames * 1001.0 / 24000,
                k.container == "mp4" ? 0.03 : 0.002);
    EXPECT_EQ(all["streams.stream.1.codec_name"], k.container == "mp4" ? "aac" : "pcm_s16le");
    std::string code;
    for (const auto& [key, value] : all) {
      if (key.ends_with(".tags.timecode") || key.ends_with(".tags.TIMECODE")) code = value;
    }
    EXPECT_EQ(code, "00:00:00:00");
  }
}

TEST_F(movie_saving, one_frame_of_odd_size_in_every_kind) {
  scenes(1, 317, 179, false);
  strings line = {"in.0000.tga", "--fps=25"};
  for (const kind& k : all_kinds()) {
    line.push_back("--save_options=codec=" + std::string(k.codec->name));
    line.push_back("--save_layer_as=" + k.name());
  }
  line.push_back("--exit=status");
  const support::outcome found = run(line);
  EXPECT_EQ(found.errors, "");
  const img::image wanted = still("in.0000.tga");
  for (const kind& k : all_kinds()) {
    SCOPED_TRACE(k.name());
    const auto clip = opened(k.name());
    if (!clip) continue;
    const int more = k.codec->name.starts_with("h26") ? 1 : 0;
    EXPECT_EQ(clip->frames(), 1);
    EXPECT_EQ(clip->rate(), 2500);
    EXPECT_EQ(clip->width(), 317 + more);
    EXPECT_EQ(clip->height(), 179 + more);
    EXPECT_FALSE(clip->read_audio());
    img::image image;
    ASSERT_TRUE(clip->read(0, 0, image));
    EXPECT_LE(support::mean_difference(image, wanted), most_difference(k.codec->name));
  }
}

TEST_F(movie_saving, colours_come_back_where_they_were) {
  // Colours that change all over the picture, and gray ones.
  img::image colours("BGR", 8, 640, 360);
  img::image grays("BGR", 8, 640, 360);
  for (int y = 0; y < 360; ++y) {
    for (int x = 0; x < 640; ++x) {
      for (int p = 0; p < 3; ++p) {
        const double wave = std::sin(x / (20.0 + 7.0 * p) + p) * std::cos(y / (19.0 + 4.0 * p));
        colours.row(p, y)[x] = static_cast<std::uint8_t>(std::lrint(128.0 + 100.0 * wave));
        grays.row(p, y)[x] = static_cast<std::uint8_t>(x * 255 / 639);
      }
    }
  }
  img::save(colours, folder / "colours.tga", nullptr, {});
  img::save(grays, folder / "grays.tga", nullptr, {});
  // Squared difference of colour when the second picture is moved.
  const auto unlike = [](const img::image& first, const img::image& second, int across, int down) {
    double sum = 0.0;
    for (int y = 1; y < 359; ++y) {
      for (int x = 1; x < 639; ++x) {
        for (const int p : {0, 2}) {
          const int off = first.row(p, y)[x] - first.row(1, y)[x] -
                          (second.row(p, y + down)[x + across] - second.row(1, y + down)[x + across]);
          sum += off * off;
        }
      }
    }
    return sum;
  };
  for (const auto& [codec, most] : {std::pair{"prores_hq", 0.5}, {"dnxhr_hq", 1.0}, {"h264", 1.5}, {"h265", 1.5}}) {
    const std::string options = std::string("--save_options=codec=") + codec;
    ASSERT_EQ(run({"colours.tga", options, "--save_layer_as=colours.mov", "--layer_delete_all", "grays.tga",
                   "--save_layer_as=grays.mov", "--exit=status"})
                  .errors,
              "");
    img::image colour;
    img::image gray;
    const auto first = opened("colours.mov");
    const auto second = opened("grays.mov");
    ASSERT_TRUE(first && first->read(0, 0, colour) && second && second->read(0, 0, gray)) << codec;
    EXPECT_LT(support::mean_difference(colour, colours), most) << codec;
    const double here = unlike(colours, colour, 0, 0);
    for (const bool down : {false, true}) {
      const double before = unlike(colours, colour, down ? 0 : -1, down ? -1 : 0);
      const double after = unlike(colours, colour, down ? 0 : 1, down ? 1 : 0);
      // The lowest place of a parabola through the three, in pixels.
      EXPECT_NEAR(0.5 * (before - after) / (before + after - 2.0 * here), 0.0, 0.1) << codec << (down ? " down" : "");
    }
    for (int x = 0; x < 640; ++x) {
      EXPECT_EQ(gray.row(0, 100)[x], gray.row(1, 100)[x]) << codec << ' ' << x;
      EXPECT_EQ(gray.row(2, 100)[x], gray.row(1, 100)[x]) << codec << ' ' << x;
      EXPECT_NEAR(gray.row(1, 100)[x], grays.row(1, 100)[x], 3) << codec << ' ' << x;
    }
  }
}

TEST_F(movie_saving, more_quality_is_more_bytes_and_less_difference) {
  img::save(support::random_picture("BGR", 320, 180), folder / "in.tga", nullptr, {});
  const img::image wanted = still("in.tga");
  const char* const qualities[] = {"1", "50", "90", "100"};
  strings line = {"in.tga"};
  for (const char* codec : {"h264", "h265", "mjpeg"}) {
    for (const std::string quality : qualities) {
      line.push_back("--save_options=codec=" + std::string(codec) + ",quality=" + quality);
      line.push_back("--save_layer_as=" + (codec + quality) + ".mov");
    }
  }
  line.push_back("--exit=status");
  EXPECT_EQ(run(line).errors, "");
  for (const char* codec : {"h264", "h265", "mjpeg"}) {
    std::uintmax_t bytes = 0;
    double difference = 999.0;
    for (const std::string quality : qualities) {
      const std::string name = codec + quality + ".mov";
      img::image image;
      const auto clip = opened(name);
      ASSERT_TRUE(clip && clip->read(0, 0, image)) << name;
      const double now = support::mean_difference(image, wanted);
      EXPECT_LT(now, difference) << name;
      EXPECT_GT(fs::file_size(folder / name), bytes) << name;
      difference = now;
      bytes = fs::file_size(folder / name);
    }
  }
}

TEST_F(movie_saving, what_can_not_be_is_one_line) {
  scenes(2, 64, 32, false);
  fs::create_directory(folder / "folder.mov");
  support::write_file(folder / "file", "");
  const std::string create = ": Create error ";
  struct row {
    strings arguments;
    std::string name;
    std::string text;  // begins with
  };
  const row rows[] = {
      {{"--save_options=codec=prores_hq"},
       "a.mp4",
       ": The codec prores_hq goes into .mov and .mkv; .mp4 takes h264 and h265"},
      {{"--save_options=codec=h264"},
       "a.avi",
       ": The codec h264 goes into .mov, .mp4 and .mkv; .avi takes mjpeg, ffv1, png and raw"},
      {{"--save_options=audio=0,codec=divx"}, "", ": No codec \"divx\"; there are prores_proxy, "},
      {{"--save_options=codec=dnxhr_hq"}, "a.mov", ": DNxHR HQ takes no pictures below 256 x 120"},
      {{}, "folder.mov", create + "21 (0x00000015): "},
      {{}, "file/a.mov", create + "20 (0x00000014): "},
      {{"--save_frame_as=a.mkv"}, "a.mkv", ": Movies are saved by save_layer_as and save_mask_as_sequence"},
  };
  for (const row& r : rows) {
    strings line = {"in.####.tga"};
    line.insert(line.end(), r.arguments.begin(), r.arguments.end());
    const bool other = !r.arguments.empty() && r.arguments[0].starts_with("--save_frame_as");
    if (!other && !r.name.empty()) line.push_back("--save_layer_as=" + r.name);
    line.push_back("--exit=status");
    const support::outcome found = run(line);
    EXPECT_EQ(found.code, 1) << r.name;
    ASSERT_EQ(found.error_lines().size(), 1u) << found.errors;
    // A folder in the way is named without what was to be in it.
    const std::string object = r.name == "file/a.mov" ? folder / "file"
                               : r.name.empty()       ? r.arguments[0]
                                                      : folder / r.name;
    EXPECT_EQ(found.errors.find('"' + object + '"' + r.text), 0u) << found.errors;
    EXPECT_TRUE(r.name.empty() || !exists(r.name) || fs::is_directory(folder / r.name)) << r.name;
    EXPECT_FALSE(exists(r.name + ".part")) << r.name;
  }
  EXPECT_TRUE(fs::is_empty(folder / "folder.mov"));
}

TEST_F(movie_saving, a_full_disk_is_one_line_and_leaves_what_was_there) {
  scenes(4, 640, 360, false);
  for (const char* name : {"full.mov", "full.mkv", "full.avi"}) {
    support::write_file(folder / name, "before");
    const support::outcome found = run_shell(
        "ulimit -f 300;", {"in.####.tga", "--save_options=codec=png,audio=0", "--length=300", "--timeline=300",
                           "--wa_end=300", std::string("--save_layer_as=") + name, "--exit=status"});
    EXPECT_EQ(found.code, 1) << name;
    EXPECT_EQ(found.error_lines(), (strings{line(name, "io::write_error: File too large")})) << name;
    EXPECT_EQ(support::read_file(folder / name), "before");
    EXPECT_FALSE(exists(std::string(name) + ".part")) << name;
  }
}

TEST_F(movie_saving, an_interrupt_completes_the_movie_and_a_kill_leaves_none) {
  scenes(2, 640, 360, false);
  const strings line = {"in.####.tga", "--length=100000", "--timeline=100000", "--wa_end=100000"};
  for (const char* name : {"a.mov", "a.mp4", "a.mkv", "a.avi"}) {
    strings arguments = line;
    arguments.insert(arguments.end(), {std::string("--save_layer_as=") + name, "--save_frame_as=never.tga", "--exit"});
    support::run_options options;
    options.interrupt_when = folder / (std::string(name) + ".part");
    const support::outcome found = run(arguments, options);
    EXPECT_EQ(found.code, 130) << name;
    EXPECT_FALSE(exists("never.tga"));
    if (!exists(name)) {  // before the first frame
      EXPECT_EQ(found.errors, "") << name;
      continue;
    }
    const auto clip = opened(name);
    ASSERT_TRUE(clip) << name;
    EXPECT_EQ(found.errors,
              this->line(name, "Stopped, the movie has " + std::to_string(clip->frames()) + " of 100000 frames\n"));
  }
  for (int after = 0; after < 60'000; after += 15'000) {
    strings arguments = {KESTRIN_BINARY};
    arguments.insert(arguments.end(), line.begin(), line.end());
    arguments.insert(arguments.end(), {"--save_layer_as=killed.mov", "--exit"});
    support::process program(
        arguments, {folder.path(), {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}}, folder / "out", folder / "errors"});
    EXPECT_TRUE(support::wait_until([&] { return exists("killed.mov.part"); }));
    usleep(static_cast<unsigned>(after));
    program.send(SIGKILL);
    program.wait();
    EXPECT_FALSE(exists("killed.mov")) << after;
  }
}

TEST_F(movie_saving, a_missing_frame_is_the_one_before_again) {
  scenes(6, 320, 180, false);
  fs::remove(folder / "in.0003.tga");
  support::write_file(folder / "in.0003.tga", "no picture");
  support::write_file(folder / "in.0000.tga", "no picture");
  const support::outcome found = run({"in.####.tga", "--save_layer_as=out.mkv", "--exit=status"});
  EXPECT_EQ(found.code, 1);
  const strings lines = found.error_lines();
  ASSERT_EQ(lines.size(), 2u) << found.errors;
  EXPECT_EQ(lines[0].find(line("out.mkv", "Frame 0: The frame is missing: ")), 0u) << lines[0];
  EXPECT_EQ(lines[1].find(line("out.mkv", "Frame 3: The frame is missing, the one before it stands in: ")), 0u)
      << lines[1];
  const auto clip = opened("out.mkv");
  ASSERT_TRUE(clip && clip->frames() == 6);
  const int numbers[] = {0, 1, 2, 2, 4, 5};
  for (int i = 1; i < 6; ++i) EXPECT_EQ(support::number_of_frame(*clip, i), numbers[i]) << i;
  img::image first;
  ASSERT_TRUE(clip->read(0, 0, first));
  EXPECT_EQ(first.row(1, 100)[300], 0) << "black";
}

TEST_F(movie_saving, the_time_code_of_the_first_frame_goes_along) {
  struct row {
    const char* rate;
    const char* first;
    const char* second;
    // For the codes of above 30 a second, which count pairs, with a mark on the second one.
    int frame = -1;      // of the day
    int hundredths = 0;  // of the rate in the header
  };
  const row rows[] = {
      {"24", "10:20:59:23", "10:21:00:00"},
      {"29.97", "10:20:59;29", "10:21:00;02"},
      {"29.97", "10:20:59:29", "10:21:00:00"},
      {"50", "10:20:59:24+1/2", "10:21:00:00+0/2", 37259 * 50 + 49, 5000},
      {"59.94", "10:20:59;29+1/2", "10:21:00;02+0/2", 2233367, 5994},
      {"60", "10:20:59:29+0/2", "10:20:59:29+1/2", 37259 * 60 + 58, 6000},
  };
  for (const row& r : rows) {
    for (int i = 0; i < 4; ++i) {
      img::image image = support::numbered_scene(i, 64, 36, false);
      image.timecode = r.frame >= 0 ? img::timecode_of_frame(r.frame, r.hundredths) : img::parse_timecode(r.first);
      if (i != 1) image.timecode = img::make_timecode(1, 2, 3, i, 0, 1, false);
      image.frame_rate_nm = r.hundredths;
      image.frame_rate_dn = 100;
      img::save(image, folder / ("in." + std::to_string(i) + ".dpx"), nullptr, {});
    }
    for (const std::string name : {"a.mov", "a.mp4", "a.mkv"}) {
      const support::outcome found = run({"in.#.dpx", std::string("--fps=") + r.rate, "--wa_begin=1", "--wa_end=3",
                                          "--save_options=codec=" + std::string(name == "a.mkv" ? "ffv1" : "h264"),
                                          "--save_layer_as=" + name, "--exit=status"});
      EXPECT_EQ(found.errors, "");
      const auto clip = opened(name);
      if (!clip) continue;
      ASSERT_EQ(clip->frames(), 2);
      img::image image;
      for (const int frame : {0, 1}) {
        ASSERT_TRUE(clip->read(frame, 0, image));
        EXPECT_EQ(img::to_text(image.timecode), frame == 0 ? r.first : r.second) << name;
      }
    }
  }
}

TEST_F(movie_saving, more_than_eight_bits_of_a_layer_are_kept) {
  if (!support::have_ffmpeg()) GTEST_SKIP();
  img::float_image ramp;
  ramp.reset(false, 1024, 64);
  for (auto& plane : ramp.data) {
    for (std::size_t i = 0; i < plane.size(); ++i) plane[i] = static_cast<float>(i % 1024) / 1023.0f;
  }
  img::save_options words;
  words.bits = 16;
  img::find_format("in.tif")->write_float(ramp, folder / "in.tif", words);
  const support::outcome found =
      run({"in.tif", "--save_options=codec=prores_4444", "--save_layer_as=a.mov", "--save_options=codec=dnxhr_hqx",
           "--save_layer_as=b.mov", "--save_options=codec=ffv1", "--save_layer_as=c.mkv", "--save_options=codec=png",
           "--save_layer_as=d.mov", "--exit=status"});
  // 64 lines are not enough for the second.
  EXPECT_EQ(found.errors, line("b.mov", "DNxHR HQX takes no pictures below 256 x 120\n"));
  for (const char* name : {"a.mov", "c.mkv", "d.mov"}) {
    ASSERT_TRUE(support::run_ffmpeg("-i " + folder / name + " -pix_fmt gray16le -f rawvideo " + folder / "raw"))
        << name;
    const std::string raw = support::read_file(folder / "raw");
    std::set<int> levels;
    for (std::size_t i = 0; i + 1 < 2048 && i + 1 < raw.size(); i += 2)
      levels.insert(static_cast<unsigned char>(raw[i]) | static_cast<unsigned char>(raw[i + 1]) << 8);
    EXPECT_GT(levels.size(), 500u) << name;
  }
}

TEST_F(movie_saving, sound_has_the_rate_of_its_source_with_volume_and_fades) {
  scenes(2, 64, 32, false);
  support::write_click(folder / "a.wav", 22050, 22050 * 4, 0, 16000);
  support::write_click(folder / "b.wav", 48000, 48000 * 4, 48000, 10000);
  const strings scene = {"--fps=25", "in.0000.tga", "--length=50", "--timeline=50", "--wa_end=50"};
  const auto save = [&](const strings& sounds, const std::string& name) {
    strings arguments = scene;
    arguments.insert(arguments.end(), sounds.begin(), sounds.end());
    arguments.insert(arguments.end(), {"--mask_size=64,32", "--save_mask_as_sequence=" + name, "--exit=status"});
    EXPECT_EQ(run(arguments).errors, "") << name;
    const auto clip = opened(name);
    return clip ? clip->read_audio() : nullptr;
  };
  struct row {
    strings sounds;
    const char* name;
    unsigned rate;
    int click;  // sample
    int height;
  };
  const row rows[] = {
      {{"b.wav", "--audible=1"}, "own.mov", 48000, 48000, 10000},
      {{"b.wav", "--audible=1", "--volume=50"}, "half.avi", 48000, 48000, 5000},
      {{"b.wav", "--audible=1", "--global_volume=0"}, "speaker.mkv", 48000, 48000, 10000},
      {{"a.wav", "--audible=1"}, "low.mkv", 22050, 0, 16000},
      // The fade is at a quarter in the first frame.
      {{"a.wav", "--audible=1", "--fade_in=3"}, "fade.mov", 22050, 0, 4000},
      {{"a.wav", "--audible=1", "--volume=0", "b.wav", "--audible=1"}, "both.mov", 44100, 44100, 10000},
  };
  for (const row& r : rows) {
    const auto sound = save(r.sounds, r.name);
    ASSERT_TRUE(sound) << r.name;
    EXPECT_EQ(sound->sample_rate, r.rate) << r.name;
    EXPECT_EQ(sound->frames(), 2LL * r.rate) << r.name;
    EXPECT_NEAR(static_cast<double>(support::loudest(*sound)), r.click, r.rate == 44100 ? 1 : 0) << r.name;
    EXPECT_NEAR(sound->peak(), r.height, r.height / 50) << r.name;
  }
  EXPECT_FALSE(save({"a.wav", "--audible=1", "--save_options=audio=0"}, "mute.mov"));
  EXPECT_FALSE(save({"a.wav", "--audible=0"}, "silent.mov"));
  EXPECT_TRUE(save({"b.wav", "--audible=1", "--save_options=codec=h264"}, "aac.mp4"));
}

}  // namespace
