// Movies from the command line: the frame that the number names, and the lines of what can't be opened.
#include "paths.h"
#include "support/numbered_movie.h"
#include "support/program_test.h"

namespace {

namespace fs = std::filesystem;

using movie_run = support::program_test;

TEST_F(movie_run, under_a_plate_frame_by_frame) {
  if (!support::have_ffmpeg() ||
      !support::encode_numbers(folder / "take.mov", 30, "-c:v libx264 -pix_fmt yuv420p -g 12 -bf 3 -f mov"))
    GTEST_SKIP();
  // A plate over the blocks of the bits 4 and 5.
  for (int i = 0; i < 30; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "plate.%04d.dpx", i);
    picture(name, {20, 40, 8 * i}, 32, 96);
  }
  const support::outcome found = run({"take.mov", "plate.####.dpx", "--mask_size=160,96", "--preload_all_layers",
                                      "--save_mask_as_sequence=out.####.tga", "--exit=status"});
  EXPECT_EQ(found.errors, "");
  EXPECT_EQ(found.code, 0);
  for (int i = 0; i < 30; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "out.%04d.tga", i);
    ASSERT_TRUE(fs::exists(folder / name)) << name;
    img::image image;
    img::load(image, folder / name);
    EXPECT_EQ(support::number_in(image) & ~0x30, i & ~0x30) << name;
    EXPECT_NEAR(image.row(2, 50)[80], 8 * i, 1) << name << ": the plate";
    EXPECT_NEAR(image.row(1, 50)[80], 40, 1) << name;
  }
  EXPECT_FALSE(fs::exists(folder / "out.0030.tga"));
}

TEST_F(movie_run, what_can_not_be_opened_is_its_line_and_stills_go_on) {
  picture("still.tga");
  for (const char* name : {"a.mov", "a.avi", "a.mkv", "a.rtv", "a.cine", "a.r3d", "a.wav"})
    support::write_file(folder / name, "nothing that is a movie");
  const strings paths = {"a.mov",
                         "a.avi",
                         "a.mkv",
                         "a.rtv",
                         "a.cine",
                         "a.r3d",
                         "a.wav",
                         "gone.cine",
                         "still.tga",
                         "--save_incomplete=1",
                         "--save_frame_as=copy.tga",
                         "--exit=status"};
  const std::string wave = line("a.wav", "io::invalid_format: Invalid RIFF signature");
  const std::string none = "Open error 0xFFFFFFFF, 0xFFFFFFFF, -1";
  const std::string alone = "Open error -1 (0xFFFFFFFF)";

  // A copy of the program without its modules.
  fs::create_directory(folder / "bare");
  fs::copy_file(KESTRIN_BINARY, folder / "bare/kestrin");
  const support::outcome bare = support::run_program(folder / "bare/kestrin", paths, folder.path());
  EXPECT_EQ(bare.code, 1);
  const std::string why = ": movies can't be read here: " + (folder / "lib/kestrin/kestrin_media.so") +
                          ": cannot open shared object file: No such file or directory";
  EXPECT_EQ(bare.error_lines(),
            (strings{line("a.mov", none + why), line("a.avi", none + why), line("a.mkv", none + why),
                     line("a.rtv", alone), line("a.cine", alone + why), line("a.r3d", alone + why), wave,
                     line("gone.cine", "Open error 2 (0x00000002)")}));
  EXPECT_TRUE(fs::exists(folder / "copy.tga"));

  const support::outcome whole = run(paths);
  const strings lines = whole.error_lines();
  ASSERT_EQ(lines.size(), 8u) << whole.errors;
  EXPECT_EQ(lines[3], line("a.rtv", alone)) << "there is no library for this kind";
  EXPECT_EQ(lines[6], wave);
  for (const int i : {0, 1, 2}) EXPECT_NE(lines[i].find(": Open error 0x"), std::string::npos) << lines[i];
  for (const int i : {4, 5}) EXPECT_NE(lines[i].find(": Open error -"), std::string::npos) << lines[i];
}

TEST_F(movie_run, the_order_of_trying_by_its_error_codes) {
  if (!support::have_ffmpeg()) GTEST_SKIP();
  // Sound alone in each kind of container: the kind that knows the container misses the stream, the others the kind.
  const std::string other = "0xBEBBB1B7";      // AVERROR_INVALIDDATA: the container is another kind
  const std::string no_stream = "0xADABAC08";  // AVERROR_STREAM_NOT_FOUND
  struct row {
    const char* name;
    const char* form;
    std::string avi, directshow;
    int quicktime;
    const char* words;
  };
  const row rows[] = {
      {"a.avi", "avi", no_stream, other, -1094995529, "Stream not found"},  // found by AVI, refused by the two after it
      {"b.mov", "mov", other, other, -1381258232, "Stream not found"},
      {"c.mkv", "matroska", other, no_stream, -1094995529, "Invalid data found when processing input"},
      {"d.avi", "mov", other, other, -1381258232,
       "Invalid data found when processing input"},  // the container decides, not the extension
  };
  for (const row& r : rows) {
    ASSERT_TRUE(support::run_ffmpeg(std::string("-f lavfi -i sine=d=0.5 -c:a pcm_s16le -f ") + r.form + " " +
                                    (folder / r.name)));
    const support::outcome found = run({r.name, "--exit"});
    EXPECT_EQ(found.error_lines(), strings{line(r.name, "Open error " + r.avi + ", " + r.directshow + ", " +
                                                            std::to_string(r.quicktime) + ": " + r.words)});
  }
}

}  // namespace
