#include "svg.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <numbers>
#include <stdexcept>

#include "path_data.h"

namespace art {
namespace {

[[noreturn]] void fail(const std::string& path, int line, const std::string& what) {
  throw std::runtime_error(path + ":" + std::to_string(line) + ": " + what);
}

[[noreturn]] void fail(const element& at, const std::string& what) {
  fail(at.path, at.line, "<" + at.name + "> " + what);
}

// As much of XML as drawings need: elements, attributes, comments and declarations.
class scanner {
 public:
  scanner(std::string path, std::string text) : path_(std::move(path)), text_(std::move(text)) {}

  element document() {
    skip_to_element();
    element root = next_element();
    skip_to_element();
    if (at_ < text_.size()) refuse("something follows the drawing");
    return root;
  }

 private:
  std::string path_;
  std::string text_;
  std::size_t at_ = 0;

  [[noreturn]] void refuse(const std::string& what) const {
    fail(path_, 1 + static_cast<int>(std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(at_), '\n')),
         what);
  }
  bool starts(std::string_view word) const { return std::string_view(text_).substr(at_).starts_with(word); }
  void skip_past(std::string_view end) {
    const std::size_t found = text_.find(end, at_);
    if (found == text_.npos) refuse("no " + std::string(end));
    at_ = found + end.size();
  }
  void skip_blanks() {
    while (at_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[at_]))) ++at_;
  }
  void skip_to_element() {
    for (;;) {
      skip_blanks();
      if (starts("<!--")) {
        skip_past("-->");
      } else if (starts("<?") || starts("<!")) {
        skip_past(">");
      } else {
        return;
      }
    }
  }
  std::string word() {
    const std::size_t begin = at_;
    while (at_ < text_.size() && (std::isalnum(static_cast<unsigned char>(text_[at_])) || text_[at_] == '-' ||
                                  text_[at_] == ':' || text_[at_] == '_')) {
      ++at_;
    }
    if (at_ == begin) refuse("a name is missing");
    return text_.substr(begin, at_ - begin);
  }
  void expect(char c) {
    if (at_ >= text_.size() || text_[at_] != c) refuse(std::string("'") + c + "' is missing");
    ++at_;
  }
  element next_element() {
    expect('<');
    element made;
    made.path = path_;
    made.line = 1 + static_cast<int>(std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(at_), '\n'));
    made.name = word();
    for (skip_blanks(); !starts(">") && !starts("/>"); skip_blanks()) {
      const std::string key = word();
      skip_blanks();
      expect('=');
      skip_blanks();
      expect('"');
      const std::size_t begin = at_;
      skip_past("\"");
      made.attributes[key] = text_.substr(begin, at_ - 1 - begin);
    }
    if (starts("/>")) {
      at_ += 2;
      return made;
    }
    ++at_;
    for (skip_to_element(); !starts("</"); skip_to_element()) made.children.push_back(next_element());
    at_ += 2;
    if (word() != made.name) refuse("</" + made.name + "> is missing");
    skip_blanks();
    expect('>');
    return made;
  }
};

// Content that would not be drawn as an editor shows it is refused.
void check_attributes(const element& at) {
  constexpr std::string_view known[] = {
      "xmlns",   "width", "height", "viewBox", "color",        "data-states", "data-plate", "data-anchor", "data-lit",
      "data-in", "id",    "fill",   "stroke",  "stroke-width", "opacity",     "fill-rule",  "transform",   "d",
      "points",  "x",     "y",      "rx",      "cx",           "cy",          "r",          "ry",          "x1",
      "y1",      "x2",    "y2"};
  for (const auto& [key, value] : at.attributes) {
    const bool round = (key == "stroke-linecap" || key == "stroke-linejoin") && value == "round";
    if (!round && std::find(std::begin(known), std::end(known), key) == std::end(known)) {
      fail(at, "has an attribute that is not drawn: " + key + "=\"" + value + "\"");
    }
  }
}

// The style that elements hand down to those inside.
struct style {
  std::string fill = "#000";
  std::string stroke = "none";
  double stroke_width = 1;
  double opacity = 1;
  bool even_odd = false;
  matrix place;
};

paint paint_of(const element& at, const std::string& text, const paint& ink, double opacity) {
  paint result{};
  if (text == "none") return result;
  try {
    result = text == "currentColor" ? ink : parse_color(text);
  } catch (const std::invalid_argument&) {
    fail(at, "has no colour \"" + text + "\"");
  }
  result[3] *= opacity;
  return result;
}

std::vector<outline> outlines_of(const element& at) {
  const auto value = [&](const char* key, double otherwise = 0) { return at.number(key, otherwise); };
  if (at.name == "path") {
    const std::string* data = at.find("d");
    if (!data) fail(at, "has no d");
    try {
      return parse_path(*data);
    } catch (const std::invalid_argument& e) {
      fail(at, std::string("has a bad d: ") + e.what());
    }
  }
  if (at.name == "rect") return {rounded_box(value("x"), value("y"), value("width"), value("height"), value("rx"))};
  if (at.name == "circle") return {ellipse(value("cx"), value("cy"), value("r"), value("r"))};
  if (at.name == "ellipse") return {ellipse(value("cx"), value("cy"), value("rx"), value("ry"))};
  if (at.name == "line") return {{{{value("x1"), value("y1")}, {value("x2"), value("y2")}}, false}};
  if (at.name == "polyline" || at.name == "polygon") {
    const std::string* points = at.find("points");
    if (!points) fail(at, "has no points");
    std::vector<outline> lines = parse_path("M" + *points);
    for (outline& line : lines) line.closed = at.name == "polygon";
    return lines;
  }
  fail(at, "is not an element that is drawn");
}

void collect(const element& at, const std::string& state, const paint& ink, style inherited,
             std::vector<shape>& shapes) {
  check_attributes(at);
  if (const std::string* in = at.find("data-in")) {
    const std::vector<std::string> states = split_words(*in);
    if (std::find(states.begin(), states.end(), state) == states.end()) return;
  }
  if (const std::string* text = at.find("fill")) inherited.fill = *text;
  if (const std::string* text = at.find("stroke")) inherited.stroke = *text;
  if (const std::string* text = at.find("fill-rule")) inherited.even_odd = *text == "evenodd";
  if (const std::string* text = at.find("transform")) {
    try {
      inherited.place = inherited.place * parse_transform(*text);
    } catch (const std::invalid_argument& e) {
      fail(at, std::string("has a bad transform: ") + e.what());
    }
  }
  inherited.stroke_width = at.number("stroke-width", inherited.stroke_width);
  inherited.opacity *= at.number("opacity", 1);
  if (at.name == "svg" || at.name == "g") {
    for (const element& child : at.children) collect(child, state, ink, inherited, shapes);
    return;
  }
  shape made;
  made.outlines = outlines_of(at);
  for (outline& line : made.outlines) {
    for (point& p : line.points) p = inherited.place.apply(p);
  }
  made.fill = paint_of(at, inherited.fill, ink, inherited.opacity);
  made.even_odd = inherited.even_odd;
  made.stroke = paint_of(at, inherited.stroke, ink, inherited.opacity);
  made.stroke_width = inherited.stroke_width * inherited.place.size();
  shapes.push_back(std::move(made));
}

}  // namespace

const std::string* element::find(std::string_view key) const {
  const auto found = attributes.find(key);
  return found == attributes.end() ? nullptr : &found->second;
}

double element::number(std::string_view key, double otherwise) const {
  const std::string* text = find(key);
  if (!text) return otherwise;
  char* end = nullptr;
  const double value = std::strtod(text->c_str(), &end);
  if (end == text->c_str() || *end) fail(*this, std::string(key) + " is no number: \"" + *text + "\"");
  return value;
}

element read_svg(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error(path + ": can't be read");
  element root = scanner(path, std::string(std::istreambuf_iterator<char>(file), {})).document();
  if (root.name != "svg") fail(root, "is not a drawing");
  return root;
}

std::vector<shape> shapes_of(const element& svg, const std::string& state, const paint& ink) {
  std::vector<shape> shapes;
  collect(svg, state, ink, {}, shapes);
  return shapes;
}

paint parse_color(std::string_view text) {
  if (text.size() != 4 && text.size() != 7) throw std::invalid_argument("colour");
  if (text[0] != '#' || text.find_first_not_of("0123456789abcdefABCDEF", 1) != text.npos) {
    throw std::invalid_argument("colour");
  }
  paint result{0, 0, 0, 1};
  const std::size_t digits = (text.size() - 1) / 3;
  for (std::size_t i = 0; i < 3; ++i) {
    std::string part(text.substr(1 + i * digits, digits));
    if (digits == 1) part += part;
    result[i] = std::strtol(part.c_str(), nullptr, 16) / 255.0;
  }
  return result;
}

std::vector<std::string> split_words(std::string_view text) {
  std::vector<std::string> words;
  std::size_t at = 0;
  while ((at = text.find_first_not_of(" \t\n", at)) != text.npos) {
    const std::size_t end = std::min(text.find_first_of(" \t\n", at), text.size());
    words.emplace_back(text.substr(at, end - at));
    at = end;
  }
  return words;
}

}  // namespace art
