// The kinds of movie that can be written: which codec goes into which container.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace sources {

struct movie_codec {
  std::string_view name;        // in save options
  std::string_view title;       // for people
  std::string_view containers;  // extensions that can hold it, separated by blanks
  bool alpha;                   // holds an alpha plane
  bool deep;                    // holds more than 8 bits
  bool lossy;                   // the quality counts
  int least_width = 1;          // pixels
  int least_height = 1;
};

// In the order in which people are told of them.
std::span<const movie_codec> movie_codecs();
// Null for an unknown name.
const movie_codec* find_movie_codec(std::string_view name);

// Whether files of this extension (lower case, without dot) are movies that can be written.
bool is_movie_extension(std::string_view extension);
bool holds_codec(const movie_codec& codec, std::string_view extension);
// The codec of a container when none is asked for. `alpha`: the picture has transparent parts.
std::string_view default_codec(std::string_view extension, bool alpha);
// "mjpeg, ffv1, png and raw": the codecs that a container takes.
std::string codecs_of_container(std::string_view extension);
// ".mov and .mkv"
std::string containers_of_codec(const movie_codec& codec);
// "h264, h265 ... and raw"
std::string all_codecs();

}  // namespace sources
