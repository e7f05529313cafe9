// Which frames a path names, among many sources.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "cache/reading/frame_places.h"
#include "support/fake_clip.h"

namespace {

ksn::layer_source sequence(const std::string& folder, ksn::frame_names names, const std::string& range = {}) {
  ksn::layer_source source;
  source.type = ksn::source_type::sequence;
  source.path = folder;
  source.range = range;
  source.frames = static_cast<int>(names.size());
  source.names = std::move(names);
  return source;
}

TEST(frame_places, of_a_path) {
  std::map<std::uint64_t, ksn::layer_source> sources;
  sources[1] = sequence("/s/", {"a.0008.exr", "a.0009.exr", "a.0010.exr"});
  sources[2] = sequence("/s/", {"b.0008.exr", "b.0009.exr"});
  sources[3] = sequence("/s/", {"a.0009.exr", "a.0010.exr", "a.0009.exr"}, "9-10,9");
  sources[4] = sequence("/s/", {"a.0010.exr", "b.0008.exr", "cover.exr", "v2.exr"});
  sources[5] = sequence("/s.2/", {"9", "10", "12"});
  sources[6].type = ksn::source_type::image;
  sources[6].path = "/s/a.0010.exr";
  sources[6].frames = 1;
  sources[7] = support::plain_layer(30, "BGR", 1, 1, {1, 2, 3}).source;
  sources[7].path = "/s/take.01.mov";
  cache::frame_places places;
  for (const auto& [id, source] : sources) places.add(id, source);
  const auto found = [&](const std::string& path) {
    std::vector<std::string> all;
    for (const auto& at : places.find(
             path, [&](std::uint64_t id) -> const auto& { return sources.at(id); }))
      all.push_back(std::to_string(at.source) + ":" + std::to_string(at.frame));
    std::sort(all.begin(), all.end());
    std::string text;
    for (const std::string& one : all) text += (text.empty() ? "" : " ") + one;
    return text;
  };
  for (const int outside : {-1, 3}) EXPECT_EQ(sources[1].frame_path(outside), "");
  const std::string clip_frame = sources[7].frame_path(17);
  const struct {
    std::string path, frames;
  } rows[] = {
      {"/s/a.0008.exr", "1:0"},
      {"/s/a.0009.exr", "1:1 3:0 3:2"},
      {"/s/a.0010.exr", "1:2 3:1 4:0 6:0"},
      {"/s/a.10.exr", ""},
      {"/s/b.0008.exr", "2:0 4:1"},
      {"/s/cover.exr", "4:2"},
      {"/s/v2.exr", "4:3"},
      {"/s/v3.exr", ""},
      {"/s.2/12", "5:2"},
      {"/s.2/11", ""},
      {"12", ""},
      {clip_frame, "7:17"},
      {"/s/take.01.mov", ""},
      {"", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(found(row.path), row.frames) << row.path;
  places.remove(1);
  places.remove(1);
  EXPECT_FALSE(places.has(1));
  EXPECT_EQ(found("/s/a.0010.exr"), "3:1 4:0 6:0");
  for (const auto& [id, source] : sources) places.remove(id);
  for (const auto& row : rows) EXPECT_EQ(found(row.path), "") << row.path;
}

}  // namespace
