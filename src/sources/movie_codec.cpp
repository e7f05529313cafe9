#include "sources/movie_codec.h"

#include <vector>

namespace sources {
namespace {

constexpr bool alpha = true;
constexpr bool deep = true;
constexpr bool lossy = true;

constexpr movie_codec codecs[] = {
    {"prores_proxy", "ProRes 422 Proxy", "mov mkv", !alpha, deep, !lossy},
    {"prores_lt", "ProRes 422 LT", "mov mkv", !alpha, deep, !lossy},
    {"prores_422", "ProRes 422", "mov mkv", !alpha, deep, !lossy},
    {"prores_hq", "ProRes 422 HQ", "mov mkv", !alpha, deep, !lossy},
    {"prores_4444", "ProRes 4444", "mov mkv", alpha, deep, !lossy},
    {"dnxhr_lb", "DNxHR LB", "mov mkv", !alpha, !deep, !lossy, 256, 120},
    {"dnxhr_sq", "DNxHR SQ", "mov mkv", !alpha, !deep, !lossy, 256, 120},
    {"dnxhr_hq", "DNxHR HQ", "mov mkv", !alpha, !deep, !lossy, 256, 120},
    {"dnxhr_hqx", "DNxHR HQX", "mov mkv", !alpha, deep, !lossy, 256, 120},
    {"dnxhr_444", "DNxHR 444", "mov mkv", !alpha, deep, !lossy, 256, 120},
    {"h264", "H.264", "mov mp4 mkv", !alpha, !deep, lossy, 2, 2},
    {"h265", "H.265", "mov mp4 mkv", !alpha, !deep, lossy, 16, 16},
    {"mjpeg", "Motion JPEG", "mov avi mkv", !alpha, !deep, lossy},
    {"ffv1", "FFV1", "mkv avi", alpha, deep, !lossy},
    {"png", "PNG", "mov avi mkv", alpha, deep, !lossy},
    {"raw", "Uncompressed", "mov avi", alpha, !deep, !lossy},
};

bool has_word(std::string_view words, std::string_view word) {
  while (!words.empty()) {
    const std::size_t end = words.find(' ');
    if (words.substr(0, end) == word) return true;
    if (end == words.npos) break;
    words.remove_prefix(end + 1);
  }
  return false;
}

// "a, b and c"
std::string joined(const std::vector<std::string>& items) {
  std::string text;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i > 0) text += i + 1 == items.size() ? " and " : ", ";
    text += items[i];
  }
  return text;
}

constexpr std::string_view containers[] = {"mov", "mp4", "mkv", "avi"};

template <class Test>
std::string names_where(const Test& test) {
  std::vector<std::string> names;
  for (const movie_codec& codec : codecs) {
    if (test(codec)) names.emplace_back(codec.name);
  }
  return joined(names);
}

}  // namespace

std::span<const movie_codec> movie_codecs() {
  return codecs;
}

const movie_codec* find_movie_codec(std::string_view name) {
  for (const movie_codec& codec : codecs) {
    if (codec.name == name) return &codec;
  }
  return nullptr;
}

bool is_movie_extension(std::string_view extension) {
  for (const std::string_view known : containers) {
    if (known == extension) return true;
  }
  return false;
}

bool holds_codec(const movie_codec& codec, std::string_view extension) {
  return has_word(codec.containers, extension);
}

std::string_view default_codec(std::string_view extension, bool alpha) {
  if (extension == "mov") return alpha ? "prores_4444" : "prores_hq";
  if (extension == "mp4") return "h264";
  return extension == "avi" ? "mjpeg" : "ffv1";
}

std::string codecs_of_container(std::string_view extension) {
  return names_where([&](const movie_codec& codec) { return holds_codec(codec, extension); });
}

std::string containers_of_codec(const movie_codec& codec) {
  std::vector<std::string> names;
  for (const std::string_view extension : containers) {
    if (holds_codec(codec, extension)) names.push_back('.' + std::string(extension));
  }
  return joined(names);
}

std::string all_codecs() {
  return names_where([](const movie_codec&) { return true; });
}

}  // namespace sources
