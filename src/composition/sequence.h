// From a path to a layer source: one image or a numbered sequence, its frames on disk, their order and gaps.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "composition/track_info.h"

namespace ksn {

using error_sink = std::function<void(const std::string& line)>;

constexpr int no_number = static_cast<int>(0x80000000u);

// The frame number of `name` under a pattern with `?` and `*`, or no_number. Letters without regard to case.
int match_number(std::string_view name, std::string_view pattern);
// The order of file names: runs of digits by value, then the shorter run, then plain bytes; letters without regard to
// case. A strict weak order; allocates nothing.
bool natural_less(std::string_view a, std::string_view b);
// Sorts names by natural_less, in linear time when they differ in one number that counts on.
void natural_sort(std::vector<std::string>& names);
void natural_sort(name_list& names);
// The file name of frame n: wildcards from the right take the digits, the name widens when they do not suffice.
std::string name_for_number(std::string_view pattern, int n);
// Finds the frame number in a path's file name (the last run of digits of its stem, or the `#` that it holds) and
// replaces it with `?`. False for a name without a number.
bool build_pattern(const std::string& path, std::string& pattern);
// A pattern as the user sees it: `?` as `#` unless it holds `#` itself.
std::string display_pattern(std::string pattern);
// The items of a `--range=` text in order: n, a-b, a-bxs, separated by commas. False for any other text, and for more
// than a million numbers.
bool expand_range(std::string_view text, std::vector<int>& numbers);

// Fills `record` from the files that match. False, after one line to `errors`, when nothing was found.
bool scan_sequence(const std::string& pattern_path, track_info& record, int first_number, alpha_type default_alpha,
                   bool forced, const std::string& fallback_name, const error_sink& errors);
bool add_single_image(const std::string& path, track_info& record, alpha_type default_alpha, const error_sink& errors);
bool add_folder(const std::string& path, track_info& record, int first_number, alpha_type default_alpha,
                const error_sink& errors);

}  // namespace ksn
