// Documents as files: whole round trips, what stays of layers, and several programs at once.
#include "composition/documents/persistence.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "composition/documents/recent_items.h"
#include "composition/documents/window_file.h"
#include "composition/invariants.h"
#include "composition/test_document.h"
#include "io/exceptions.h"
#include "support/archive_tree.h"

namespace {

using support::document;
using support::read_file;
using support::temp_folder;
using support::write_file;

TEST(persistence, a_composition_comes_back_the_same) {
  const temp_folder folder;
  document written;
  written.doc.tm_t = 12.5;
  written.view.aspect = 1.25;  // six digits hold it
  written.doc.vars = {{"shot", "a < b & \"c\"\n'"}, {"", ""}};
  std::vector<std::uint16_t> cube(img::lookup_table::cube_entries, 16383);
  written.doc.lookup_table_map["cold.cube"].set_3d(cube, false);
  ksn::track_info& first = written.put("plate", 5, 4);
  first.look.tf.lookup_table = written.doc.lookup_table_map["cold.cube"];
  first.lettering.text = "H\xC3\xA9 \xF0\x9F\x8E\xAC";
  first.source.path = "/no wh\xC3\xA9re/a\"b<c>&d/";
  first.source.image_layers = {{0, -1, "main"}, {2, 1, "Z"}, {2, 2, "A"}};
  first.source.image_layer = {2, 2, "A"};
  written.put_still("matte").look.alpha_source_id = written.doc.track_at(0).id;
  written.doc.selection = {1};
  const std::string binary = folder / "shot.ksncomp";
  const std::string xml = folder / "shot.XML";
  for (const std::string& path : {binary, xml}) ksn::save_composition(written, path);
  for (const std::string& path : {binary, xml}) {
    document found;
    ksn::load_composition(found, path, false);
    EXPECT_EQ(ksn::broken_invariant(found), "");
    EXPECT_EQ(found.stack(), "plate [matte]");
    EXPECT_EQ(found.doc.vars, written.doc.vars);
    for (const std::string& form : {binary, xml}) {
      const std::string again = folder / "again" + form.substr(form.rfind('.'));
      ksn::save_composition(found, again);
      EXPECT_TRUE(read_file(again) == read_file(form)) << path << " as " << form;
    }
  }
}

// The layer in a document of its own, read back from both forms.
TEST(persistence, pictures_and_sound_are_in_binary_files_only) {
  using ksn::source_type;
  const temp_folder folder;
  const auto canvas = [](int blue) {
    const auto picture = std::make_shared<img::image>("BGRA", 8, 40, 30);
    picture->fill(static_cast<std::uint8_t>(blue), 20, 30, 40);
    picture->metadata["a"] = "b";
    return picture;
  };
  const auto sound = std::make_shared<sources::wave_context>();
  sound->sample_rate = 44100;
  sound->bits = 16;
  sound->channels = 2;
  sound->data = {1, 2, 3, 4, 5, 6, 7, 8};
  document written;
  for (const source_type type :
       {source_type::clipboard_image, source_type::brush, source_type::brush_sequence, source_type::embedded_audio}) {
    ksn::track_info& layer = written.put_still("kept", type);
    layer.source.frames = 3;
    layer.look.opacity = 40;
  }
  written.doc.track_at(0).source.clipboard_image = canvas(1);
  written.doc.track_at(1).source.brush_image = canvas(2);
  written.doc.track_at(2).source.brush_seq = {{0, canvas(3)}, {2, canvas(4)}};
  written.doc.track_at(3).source.audio = sound;
  for (const char* name : {"a.ksncomp", "a.xml"}) ksn::save_composition(written, folder / name);

  document found;
  ksn::load_composition(found, folder / "a.ksncomp", false);
  const auto blue = [](const img::image_ptr& picture) {
    return picture && picture->metadata.contains("a") ? *picture->row(0, 29) : -1;
  };
  EXPECT_EQ(blue(found.doc.track_at(0).source.clipboard_image), 1);
  EXPECT_EQ(blue(found.doc.track_at(1).source.brush_image), 2);
  EXPECT_EQ(found.doc.track_at(2).source.brush_seq.size(), 2u);
  EXPECT_EQ(blue(found.doc.track_at(2).source.brush_seq[2]), 4);
  ASSERT_TRUE(found.doc.track_at(3).source.audio);
  EXPECT_EQ(found.doc.track_at(3).source.audio->data, sound->data);
  EXPECT_EQ(found.doc.track_at(3).source.audio->sample_rate, 44100u);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(found.doc.track_at(i).source.type, written.doc.track_at(i).source.type);
  ksn::load_composition(found, folder / "a.xml", false);
  for (const ksn::track_info& empty : found.doc.tracks) {
    EXPECT_EQ(empty.source.type, source_type::none);
    EXPECT_EQ(empty.look.opacity, 40);
    EXPECT_FALSE(empty.source.clipboard_image || empty.source.brush_image || empty.source.audio ||
                 !empty.source.brush_seq.empty());
  }
}

TEST(persistence, sources_are_found_where_they_moved) {
  const temp_folder folder;
  const struct {
    const char* what;
    const char* composition;  // where it stands now
    const char* source;       // where the frames stand now
    const char* stored;       // what the document says
    const char* found;
  } rows[] = {
      {"nothing moved", "show/comp/a.ksncomp", "show/plates/s/", "=show/plates/s/", "show/plates/s/"},
      {"the whole show", "show/comp/a.ksncomp", "show/plates/s/", "/old/show/plates/s/", "show/plates/s/"},
      {"beside the composition", "show/comp/a.ksncomp", "show/comp/s/", "/old/deep/s/", "show/comp/s/"},
      {"frames right beside it", "show/comp/a.ksncomp", "show/comp/", "/old/s/", "show/comp/"},
      {"the longest part wins", "show/a.ksncomp", "show/plates/s/", "/old/plates/s/", "show/plates/s/"},
      {"a relative path", "show/comp/a.xml", "show/plates/s/", "../plates/s/", "show/plates/s/"},
      {"too far away", "1/2/3/4/5/a.ksncomp", "s/", "/old/s/", "/old/s/"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    std::filesystem::remove_all(folder.path());
    write_file(folder / (row.source + std::string("p.1.tga")), "");
    write_file(folder / (row.source + std::string("still.tga")), "");
    const bool whole_path = row.stored[0] == '=';
    const std::string stored = whole_path ? folder / (row.stored + 1) : std::string(row.stored);
    document written;
    written.put("p", 0, 3).source.path = stored;  // only the first of its frames is there
    written.doc.track_at(0).source.names = {"p.1.tga", "p.2.tga", "p.3.tga"};
    written.put_still("still").source.path = stored + "still.tga";
    written.put_still("gone").source.path = "/old/gone.tga";
    const std::string path = folder / row.composition;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    ksn::save_composition(written, path);
    document found;
    ksn::load_composition(found, path, false);
    const std::string expected = row.found[0] == '/' ? std::string(row.found) : folder / row.found;
    EXPECT_EQ(found.doc.track_at(0).source.path, expected);
    EXPECT_EQ(found.doc.track_at(0).source.names.holes().size(), row.found[0] == '/' ? 3u : 2u);
    EXPECT_EQ(found.doc.track_at(1).source.path, expected + "still.tga");
    EXPECT_EQ(found.doc.track_at(2).source.path, "/old/gone.tga");
  }
}

TEST(persistence, settings_start_the_first_document) {
  const temp_folder folder;
  ksn::composition_view written;
  written.settings.default_cfps = 2398;
  written.settings.default_frame_base = 1;
  written.settings.default_back_custom_color = {255, 1, 2, 3};
  written.settings.default_aspect = {{{720, 576}, 1.5}, {{1, 1}, 0.0}};
  for (const char* name : {"a.dat", "a.xml"}) {
    ksn::save_settings_file(written, folder / name);
    ksn::composition_view found;
    ksn::load_settings_file(found, folder / name);
    EXPECT_EQ(found.doc.fpcs, 2398);
    EXPECT_EQ(found.doc.frame_base, 1);
    EXPECT_EQ(found.doc.back_custom_color, (lib::color{255, 1, 2, 3}));
    EXPECT_EQ(found.settings.default_aspect, (std::map<std::pair<int, int>, double>{{{720, 576}, 1.5}}))
        << "0 is no aspect";
  }
  // The values before a broken place in a file are taken.
  std::string text = read_file(folder / "a.xml");
  text.resize(text.find("default_frame_base"));
  write_file(folder / "a.xml", text);
  ksn::composition_view found;
  EXPECT_THROW(ksn::load_settings_file(found, folder / "a.xml"), io::exception);
  EXPECT_EQ(found.settings.default_cfps, 2398);
  EXPECT_EQ(found.settings.default_frame_base, 0);
}

// The folders of the user's documents are in a fresh place while it lives.
class user_folders {
 public:
  user_folders() {
    setenv("XDG_DATA_HOME", (folder_ / "data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (folder_ / "config").c_str(), 1);
  }
  ~user_folders() {
    unsetenv("XDG_DATA_HOME");
    unsetenv("XDG_CONFIG_HOME");
  }
  std::string data() const { return folder_ / "data/Kestrin"; }
  std::string config() const { return folder_ / "config/Kestrin"; }

 private:
  temp_folder folder_;
};

TEST(persistence, the_window_comes_back_where_it_was) {
  const user_folders user;
  platform::window_placement found;
  EXPECT_FALSE(ksn::load_window_placement(found));
  const platform::window_placement written{2, 3, {-1, -2}, {-3, -4}, 10, 20, 950, 820};
  EXPECT_TRUE(ksn::save_window_placement(written));
  const support::value edges = support::plain({{"left", support::integer(10)},
                                               {"top", support::integer(20)},
                                               {"right", support::integer(950)},
                                               {"bottom", support::integer(820)}});
  const support::value record = support::plain({{"flags", support::integer(2)},
                                                {"showCmd", support::integer(3)},
                                                {"ptMinPosition", support::pair(-1, -2)},
                                                {"ptMaxPosition", support::pair(-3, -4)},
                                                {"rcNormalPosition", edges}});
  EXPECT_EQ(read_file(user.data() + "/kestrin.window.xml"), support::xml_form(record, "windowPlacement", 4).text());
  EXPECT_TRUE(ksn::load_window_placement(found));
  EXPECT_EQ(found, written);
  write_file(user.data() + "/kestrin.window.xml", "<?xml?><stream version=\"4\"><r><f>1</f>");
  found = {};
  EXPECT_FALSE(ksn::load_window_placement(found));
  EXPECT_EQ(found, platform::window_placement());
}

// Several programs end at the same moment, each with notes and settings of its own.
TEST(persistence, programs_that_end_at_once) {
  const user_folders user;
  constexpr int programs = 4;
  std::filesystem::create_directories(user.data());
  std::vector<pid_t> children;
  for (int program = 0; program < programs; ++program) {
    const pid_t child = fork();
    if (child == 0) {
      ksn::composition_view settings;
      settings.settings.volume = program;
      bool good = true;
      for (int i = 0; i < 5; ++i) {
        good = ksn::save_settings(settings) && good;
        good = ksn::save_window_placement({program, 1, {}, {}, 0, 0, 9, 9}) && good;
        const std::string item = "/" + std::to_string(program) + "/" + std::to_string(i);
        while (!ksn::note_recent(user.data(), ksn::added_items, {item})) {
        }
      }
      _exit(good ? 0 : 1);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  std::set<std::string> items;
  const ksn::recent_lists lists = ksn::read_recent(user.data());
  for (const ksn::recent_item& item : lists.at("add")) items.insert(item.path);
  EXPECT_EQ(items.size(), 20u) << "no program undoes what another noted";
  ksn::composition_view settings;
  EXPECT_TRUE(ksn::load_settings(settings));
  EXPECT_LT(settings.settings.volume, programs);
  platform::window_placement placement;
  EXPECT_TRUE(ksn::load_window_placement(placement));
  for (const std::string& folder : {user.data(), user.config()}) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      EXPECT_NE(entry.path().extension(), ".part") << entry.path();
    }
  }
}

TEST(persistence, settings_that_cannot_be_read_or_written_are_silent) {
  const user_folders user;
  const std::string path = user.config() + "/kestrin.settings.dat";
  ksn::composition_view view;
  EXPECT_FALSE(ksn::load_settings(view)) << "there are none";
  EXPECT_FALSE(std::filesystem::exists(user.config())) << "reading makes no folder";
  write_file(path, "no settings");
  EXPECT_FALSE(ksn::load_settings(view));
  std::filesystem::create_directory(path + ".part");
  EXPECT_FALSE(ksn::save_settings(view));
  EXPECT_EQ(read_file(path), "no settings");
}

TEST(recent_items, newest_first_twenty_at_most_each_once) {
  const temp_folder folder;
  EXPECT_TRUE(ksn::read_recent(folder.path()).empty());
  for (int i = 0; i < 22; ++i) ksn::note_recent(folder.path(), ksn::added_items, {"/" + std::to_string(i)});
  ksn::note_recent(folder.path(), ksn::added_items, {"/5"});
  ksn::note_recent(folder.path(), ksn::opened_items, {"/a", "/b"});
  ksn::recent_lists lists = ksn::read_recent(folder.path());
  ASSERT_EQ(lists["add"].size(), 20u);
  EXPECT_EQ(lists["add"][0].path, "/5");
  EXPECT_EQ(lists["add"][1].path, "/21");
  EXPECT_EQ(lists["add"][19].path, "/2");
  EXPECT_EQ(lists["open"], (std::vector<ksn::recent_item>{{"/b", 0}, {"/a", 0}}));

  // The same again writes nothing.
  const std::string file = folder / "kestrin.recent.xml";
  const auto written = std::filesystem::last_write_time(file) - std::chrono::hours(1);
  std::filesystem::last_write_time(file, written);
  EXPECT_TRUE(ksn::note_recent(folder.path(), ksn::opened_items, {"/b"}));
  EXPECT_EQ(std::filesystem::last_write_time(file), written);
}

TEST(recent_items, unsaved_documents_come_back_and_the_oldest_goes) {
  const temp_folder folder;
  document d;
  d.put("plate");
  d.file_name = "/else/shot.xml";
  ksn::file_unsaved(folder.path(), d);
  const std::string first = ksn::read_recent(folder.path())["unsaved"].at(0).path;
  EXPECT_TRUE(first.ends_with("/shot.ksncomp")) << first;
  document found;
  ksn::load_composition(found, first, true);
  EXPECT_EQ(found.stack(), d.stack());
  for (int i = 0; i < 20; ++i) ksn::file_unsaved(folder.path(), d);
  EXPECT_EQ(ksn::read_recent(folder.path())["unsaved"].size(), 20u);
  EXPECT_FALSE(std::filesystem::exists(first));
}

}  // namespace
