#include "app/save_choices.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "composition/documents/shared_file.h"
#include "composition/time/frame_rate.h"
#include "img/format.h"
#include "io/part_file.h"
#include "lib/paths.h"
#include "save/save.h"
#include "sources/movie_codec.h"

namespace app {
namespace {

constexpr std::size_t longest_choices = std::size_t{1} << 16;  // bytes of the file that are read

using platform::form_choice;
using platform::form_word;

// The format's own way, and others by their words.
form_choice compressions(const save_choices::text_function& text, const std::vector<const char*>& words) {
  form_choice choice{"compression", text("save_form_compression"), {{"", text("save_form_default")}}};
  for (const char* word : words) choice.words.push_back({word, word});
  return choice;
}

form_choice qualities(const save_choices::text_function& text) {
  form_choice choice{"quality", text("save_form_quality"), {}};
  for (const char* word : {"100", "95", "90", "80", "70", "50", "30"}) choice.words.push_back({word, word});
  choice.chosen = 2;
  return choice;
}

std::vector<form_choice> of_movie(const std::string& extension, const save_choices::text_function& text) {
  form_choice codecs{"codec", text("save_form_codec"), {{"", text("save_form_default")}}};
  for (const sources::movie_codec& codec : sources::movie_codecs()) {
    if (sources::holds_codec(codec, extension))
      codecs.words.push_back({std::string(codec.name), std::string(codec.title)});
  }
  return {std::move(codecs), qualities(text),
          form_choice{"audio", text("save_form_audio"), {{"1", text("save_form_yes")}, {"0", text("save_form_no")}}}};
}

std::vector<form_choice> of_picture(const std::string& path, const std::string& extension,
                                    const save_choices::text_function& text) {
  const img::format* format = img::find_format(path);
  std::vector<form_choice> choices;
  if (!format) return choices;
  if (extension == "jpg" || extension == "jpeg") return {qualities(text)};
  using words = std::vector<const char*>;
  const words runs = {"uncompressed", "rle"}, tiff = {"uncompressed", "packbits", "deflate", "lzw"};
  const std::pair<const char*, words> rows[] = {{"bmp", runs},  {"exr", {"uncompressed", "rle", "zip", "b44a"}},
                                                {"ftif", tiff}, {"png", {"uncompressed", "deflate"}},
                                                {"psd", runs},  {"sgi", runs},
                                                {"tga", runs},  {"tif", tiff},
                                                {"tiff", tiff}};
  for (const auto& [of_format, list] : rows) {
    if (extension == of_format) choices.push_back(compressions(text, list));
  }
  if (format->holds_16_bits())
    choices.push_back(
        form_choice{"bits", text("save_form_bits"), {{"", text("save_form_default")}, {"8", "8"}, {"16", "16"}}});
  choices.push_back(form_choice{
      "ignore_alpha", text("save_form_ignore_alpha"), {{"0", text("save_form_yes")}, {"1", text("save_form_no")}}});
  return choices;
}

}  // namespace

std::vector<form_choice> save_choices::of_path(const std::string& path, bool is_walk, const text_function& text) const {
  const std::string extension = lib::lower_extension(path);
  std::vector<form_choice> choices;
  if (!sources::is_movie_extension(extension)) {
    choices = of_picture(path, extension, text);
  } else if (is_walk) {
    choices = of_movie(extension, text);
  }
  const auto kept = kept_.find(extension);
  if (kept == kept_.end()) return choices;
  for (form_choice& choice : choices) {
    const auto word = kept->second.find(choice.key);
    for (std::size_t i = 0; word != kept->second.end() && i < choice.words.size(); ++i) {
      if (choice.words[i].word == word->second) choice.chosen = i;
    }
  }
  return choices;
}

std::string save_choices::remember(const std::string& path, const std::map<std::string, std::string>& chosen) {
  kept_[lib::lower_extension(path)] = chosen;
  std::string list;
  for (const auto& [key, word] : chosen) {
    if (!word.empty()) list += (list.empty() ? "" : ",") + key + "=" + word;
  }
  return list;
}

std::vector<std::string> save_choices::folders() const {
  std::vector<std::string> result;
  for (const auto& [action, folder] : folders_) {
    if (!folder.empty()) result.push_back(folder);
  }
  return result;
}

std::string save_choices::text() const {
  std::string text;
  for (const auto& [extension, words] : kept_) {
    std::string list;
    for (const auto& [key, word] : words) list += (list.empty() ? "" : ",") + key + "=" + word;
    if (!list.empty()) text += "options " + extension + " " + list + "\n";
  }
  for (const auto& [action, folder] : folders_) {
    // A path may hold anything; one with a line feed is not worth a form of its own.
    if (!folder.empty() && folder.find('\n') == folder.npos) text += "folder " + action + " " + folder + "\n";
  }
  return text;
}

void save_choices::take_text(std::string_view text) {
  const auto cut = [](std::string_view& rest, char at) {
    const std::size_t end = std::min(rest.find(at), rest.size());
    const std::string part(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return part;
  };
  while (!text.empty()) {
    const std::string whole = cut(text, '\n');
    std::string_view line = whole;
    const std::string kind = cut(line, ' ');
    const std::string name = cut(line, ' ');
    if (name.empty() || line.empty()) continue;
    if (kind == "folder") folders_[name] = line;
    if (kind != "options") continue;
    std::map<std::string, std::string> words;
    while (!line.empty()) {
      const std::string item = cut(line, ',');
      std::string_view value = item;
      const std::string key = cut(value, '=');
      if (!key.empty()) words[key] = value;
    }
    kept_[name] = std::move(words);
  }
}

void load_choices(save_choices& choices, const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text(longest_choices, 0);
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  choices.take_text(
      std::string_view(text).substr(0, static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0))));
}

void store_choices(const save_choices& choices, const std::string& path) {
  ksn::write_shared_file(path, [&] {
    // What others chose meanwhile for other kinds stays.
    save_choices all;
    load_choices(all, path);
    all.take_text(choices.text());
    io::part_file part(path);
    std::ofstream file(part.path(), std::ios::binary);
    file << all.text();
    file.close();
    if (file) part.commit();
  });
}

std::string save_description(const ksn::state& composition, const std::string& action, const std::string& path) {
  const ksn::document& document = composition.doc;
  const bool of_layer = action == "save_frame_as" || action == "save_layer_as";
  std::string text;
  if (of_layer && document.selected_index() < document.track_count()) {
    const ksn::layer_source& source = document.track_at(document.selected_index()).source;
    text = std::to_string(source.width) + " x " + std::to_string(source.height) + ", ";
  } else if (action != "save_screen_as" && !of_layer) {
    text = std::to_string(document.mask_size.x) + " x " + std::to_string(document.mask_size.y) + ", ";
  }
  if (action != "save_layer_as" && action != "save_mask_as_sequence") return text + path;
  char rate[64];
  std::snprintf(rate, sizeof rate, "%d frames at %g a second: ", document.tm_l - document.tm_f, document.fpcs / 100.0);
  text += rate;
  if (sources::is_movie_extension(lib::lower_extension(path))) return text + path;
  return text + save::numbered_name(path, document.tm_f + document.frame_base) + " to " +
         lib::file_name(save::numbered_name(path, document.tm_l - 1 + document.frame_base));
}

}  // namespace app
