#include "save/picture_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <exception>

#include "command/messages.h"
#include "io/exceptions.h"
#include "io/failure.h"
#include "io/part_file.h"
#include "lib/paths.h"
#include "platform/files.h"
#include "sources/movie_codec.h"

namespace save {
namespace {

void write(const picture& picture, const std::string& path, const img::format& format,
           const img::save_options& options) {
  io::part_file part(path);
  if (picture.floats) {
    format.write_float(*picture.floats, part.path(), options);
  } else {
    format.write(*picture.bytes, part.path(), options);
  }
  part.commit();
}

}  // namespace

bool find_target(const std::string& path, target& result, std::string& line) {
  const std::string full = lib::full_path(path);
  const img::format* format = img::find_format(full);
  if (!format) {
    line = command::about(full, sources::is_movie_extension(lib::lower_extension(full))
                                    ? "Movies are saved by save_layer_as and save_mask_as_sequence"
                                    : "Invalid file type");
    return false;
  }
  result = {full, format};
  return true;
}

bool find_walk_target(const std::string& path, const std::string& codec, target& result, std::string& line) {
  const std::string full = lib::full_path(path);
  const std::string extension = lib::lower_extension(full);
  if (!sources::is_movie_extension(extension)) return find_target(path, result, line);
  const sources::movie_codec* known = sources::find_movie_codec(codec);
  if (known && !sources::holds_codec(*known, extension)) {
    line = command::about(full, "The codec " + codec + " goes into " + sources::containers_of_codec(*known) + "; ." +
                                    extension + " takes " + sources::codecs_of_container(extension));
    return false;
  }
  result = {full, nullptr, extension, codec};
  return true;
}

bool is_whole(const std::string& path, const img::format& format) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) return false;
  try {
    img::image image;
    format.read(image, path, {});
    return image.note.empty();  // a cut picture that is shown as far as it goes has one
  } catch (const std::exception&) {
    return false;
  }
}

std::string create_error(const std::string& path, int number) {
  char text[64];
  std::snprintf(text, sizeof text, "Create error %d (0x%08X)", number, static_cast<unsigned>(number));
  return command::about(path, text, io::reason(number, path));
}

std::string write_picture(const picture& picture, const std::string& path, const img::format& format,
                          const img::save_options& options) {
  const std::string folder = lib::folder_of(path);
  if (!folder.empty() && !platform::make_folders(folder)) return create_error(lib::remove_separator(folder), errno);
  try {
    write(picture, path, format, options);
    return {};
  } catch (const io::open_error& failure) {
    return failure.error_number() ? create_error(path, failure.error_number())
                                  : command::about(path, io::failure_text());
  } catch (const std::exception&) {
    return command::about(path, io::failure_text("Out of memory"));
  }
}

}  // namespace save
