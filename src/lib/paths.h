// Paths as UTF-8 text. Nothing here throws; names of real files are separated by `/` only.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace lib {

// `path` followed by `separator`, unless it is empty or ends in `/` or `\`.
std::string add_separator(std::string path, char separator = '/');
// `path` without one trailing `/` or `\`.
std::string remove_separator(std::string path);
// Every `/` becomes `\`.
std::string to_backslashes(std::string path);

// The absolute, normalised form: after the working folder or, for a leading `~`, the user's; `.`, `..` and doubled
// separators are resolved as text, links are not followed. A closing separator is kept. The path itself on failure.
std::string full_path(const std::string& path);

struct folder_and_name {
  std::string folder;  // with its closing separator, empty when there is none
  std::string name;
};
// Splits text from anywhere after the last `/` or `\`; without one, after a drive letter and its colon.
folder_and_name split_path(std::string_view path);
// For the path of a real file: the part after the last `/`, and the part before it with its separator.
std::string file_name(std::string_view path);
std::string folder_of(std::string_view path);

struct stem_and_extension {
  std::string stem;
  std::string extension;  // with its dot; empty for no dot, a dot in first place, and the name ".."
};
stem_and_extension split_extension(std::string_view name);
// The extension of a path's file name in lower case without its dot: "tga"; empty when there is none.
std::string lower_extension(std::string_view path);

// A to Z become a to z; all other bytes stay.
std::string to_lower(std::string_view text);
char lower_char(char c);

// `*` stands for any run of characters, `?` for one; letters without regard to case.
bool match_wildcard(std::string_view pattern, std::string_view text);

// Adds the names in `folder` that match `pattern` ("*" takes all) to the two lists, in any order, without "." and "..".
// Returns 0 or the errno of the failure. A link counts as what it points to, a link to nothing as a file; pipes,
// sockets and devices are left out. Either list may be null.
int list_folder(const std::string& folder, const std::string& pattern, std::vector<std::string>* files,
                std::vector<std::string>* folders);
// Calls `visit` with the name of each file in `folder`, in any order. Links count as files and are not followed, so
// that a folder of links costs no more than one of files. Returns 0 or the errno of the failure.
int visit_files(const std::string& folder, const std::function<void(std::string_view name)>& visit);

}  // namespace lib
