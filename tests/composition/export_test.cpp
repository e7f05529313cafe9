// The scripts for other programs, as those programs would read them.
#include "composition/export/export.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "composition/export/correction_stages.h"
#include "composition/export/template_text.h"
#include "composition/test_document.h"
#include "img/correction_math.h"
#include "support/process.h"

namespace {

using ksn::source_type;
using ksn::track_info;

const std::string ugly = "a\"b\\c\nd'e\té\xF0\x9F\x8E\xAC {[$x]} 50%";

// --- a reader of node text: knobs as Tcl words, and the stack of nodes ---

struct node {
  std::string kind;
  std::map<std::string, std::string> knobs;
  std::vector<int> inputs;  // the first one was on top of the stack; -1 nothing
};

class node_reader {
 public:
  explicit node_reader(std::string_view text) : text_(text) {
    while (skip_blanks(), at_ < text_.size()) read_node();
    EXPECT_TRUE(groups_.empty());
  }
  std::vector<node> nodes;  // a group is one node; those inside it are left out
  int top() const { return stack_.empty() ? -1 : stack_.back(); }
  std::size_t depth() const { return stack_.size(); }

 private:
  std::string_view text_;
  std::size_t at_ = 0;
  std::vector<int> stack_;
  std::vector<std::vector<int>> groups_;

  void skip_blanks() {
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\n')) ++at_;
  }
  std::string word() {
    std::string out;
    if (text_[at_] == '"') {
      for (++at_; text_[at_] != '"'; ++at_) {
        if (text_[at_] == '\\') {
          ++at_;
          out += text_[at_] == 'n' ? '\n' : text_[at_];
        } else {
          EXPECT_EQ(std::string_view("[]${}").find(text_[at_]), std::string_view::npos) << "read as Tcl";
          out += text_[at_];
        }
      }
      ++at_;
    } else if (text_[at_] == '{') {
      const std::size_t begin = ++at_;
      for (int open = 1; open > 0; ++at_) {
        if (text_[at_] == '\\') ++at_;
        if (text_[at_] == '{') ++open;
        if (text_[at_] == '}') --open;
      }
      out = text_.substr(begin, at_ - 1 - begin);
    } else {
      while (at_ < text_.size() && text_[at_] != ' ' && text_[at_] != '\n') out += text_[at_++];
    }
    return out;
  }
  void read_node() {
    node read;
    read.kind = word();
    if (read.kind == "end_group") {
      stack_ = groups_.back();
      groups_.pop_back();
      return;
    }
    skip_blanks();
    ASSERT_EQ(text_[at_], '{') << read.kind;
    const std::size_t body_end = at_ + 1;
    at_ = body_end;
    while (skip_blanks(), text_[at_] != '}') {
      const std::string knob = word();
      skip_blanks();
      read.knobs[knob] = word();
    }
    ++at_;
    int wanted = read.kind == "Root" || read.kind == "Input" ? 0 : 1;
    if (read.knobs.contains("inputs")) wanted = std::stoi(read.knobs["inputs"]);
    for (int i = 0; i < wanted; ++i) {
      read.inputs.push_back(top());
      if (!stack_.empty()) stack_.pop_back();
    }
    const bool inside = !groups_.empty();
    if (!inside) nodes.push_back(read);
    // The viewer is no source of anything.
    if (read.kind != "Root" && read.kind != "Viewer" && read.kind != "Output") {
      stack_.push_back(inside ? -2 : static_cast<int>(nodes.size()) - 1);
    }
    if (read.kind == "Group") {
      groups_.push_back(stack_);
      stack_ = {};
    }
  }
};

// The tree above a node: "Merge2(below, above)", with the file of each source.
std::string tree(const node_reader& script, int index) {
  if (index < 0) return "-";
  const node& at = script.nodes[static_cast<std::size_t>(index)];
  std::string text = at.kind == "Merge2" ? at.knobs.at("operation") : at.kind;
  if (at.knobs.contains("file")) text = at.knobs.at("file");
  if (at.knobs.contains("label")) text = at.knobs.at("label");
  for (std::size_t i = 0; i < at.inputs.size(); ++i) text += (i ? ", " : "(") + tree(script, at.inputs[i]);
  return at.inputs.empty() ? text : text + ")";
}

std::string whole_tree(const std::string& script) {
  const node_reader read(script);
  EXPECT_EQ(read.depth(), 1u);
  return tree(read, read.top());
}

const node& first_of(const node_reader& script, const std::string& kind) {
  static const node none;
  for (const node& at : script.nodes) {
    if (at.kind == kind) return at;
  }
  ADD_FAILURE() << "no " << kind;
  return none;
}

struct document : support::document {
  track_info& put_layer(const std::string& name, source_type type, ksn::alpha_type alpha = ksn::alpha_type::pm) {
    track_info& layer = put_still(name, type);
    layer.look.alpha_type = alpha;
    return layer;
  }
};

TEST(nuke_script, upper_layers_lie_over_lower_ones) {
  document composition;
  composition.put_layer("top", source_type::image);
  composition.put_layer("adjust", source_type::adjustment).look.tf.exposure = {100, 100, 100};
  composition.put_layer("sound", source_type::wave);
  composition.put_layer("middle", source_type::image, ksn::alpha_type::normal);
  composition.put_layer("bottom", source_type::image, ksn::alpha_type::ignore);
  composition.doc.track_at(0).look.blend_type = ksn::blend_type::screen;
  const auto chain = [](const std::string& source) { return "Transform(" + source + ")"; };
  EXPECT_EQ(whole_tree(nuke_script(composition)),
            "screen(Grade(matte(" + chain("Ignore Alpha(TimeOffset(/nowhere/bottom.tga))") + ", " +
                chain("TimeOffset(/nowhere/middle.tga)") + ")), " + chain("TimeOffset(/nowhere/top.tga)") + ")");
}

TEST(nuke_script, every_stage_feeds_the_next) {
  document composition;
  track_info& layer = composition.put_layer("a", source_type::image, ksn::alpha_type::ignore);
  layer.source.image_layer = {2, -1, ugly};
  img::correction& tf = layer.look.tf;
  tf.gamma = {50, 100, 200};
  tf.contrast = {10, 10, 10};
  tf.soft_clip = 50;
  tf.hue = {30, 30, 30};
  EXPECT_EQ(whole_tree(nuke_nodes(composition, {0})),
            "Transform(Hue/Sat(SoftClip(Bright/Contr(Grade(Shuffle(Ignore Alpha(TimeOffset(/nowhere/a.tga))))))))");
  EXPECT_EQ(nuke_nodes(composition, {0}).find("disable"), std::string::npos);
  tf.disable_cc = true;
  const node_reader off(nuke_nodes(composition, {0}));
  for (const node& at : off.nodes) {
    const std::string label = at.knobs.contains("label") ? at.knobs.at("label") : "";
    const bool is_stage = at.kind == "Grade" || at.kind == "SoftClip" || label == "Hue/Sat" || label == "Bright/Contr";
    EXPECT_EQ(at.knobs.contains("disable"), is_stage) << at.kind << label;
  }
  EXPECT_EQ(first_of(off, "Shuffle").knobs.at("in"), ugly);
  EXPECT_EQ(first_of(off, "Grade").knobs.at("gamma"), "0.500000 1.000000 2.000000 1");
}

TEST(nuke_script, files_frames_and_places) {
  struct row {
    const char* mask;
    const char* first_name;
    std::string file;
    int first;
  };
  // The name is an expression there: \[ is a bracket and %% a percent sign.
  const row rows[] = {{"a.????.tga", "a.0012.tga", "/n/a.%04d.tga", 12},
                      {"a.?.tga", "a.7.tga", "/n/a.%d.tga", 7},
                      {"a.*.tga", "a.5.tga", "/n/a.%d.tga", 5},
                      {"*", "b03.tga", "/n/b%02d.tga", 3},
                      {"50%.??.tga", "50%.01.tga", "/n/50%%.%02d.tga", 1},
                      {"[$].??.tga", "[$].09.tga", "/n/\\[\\$\\].%02d.tga", 9}};
  for (const row& row : rows) {
    document composition;
    track_info& layer = composition.put("a", 20, 1);
    layer.source.path = "/n/";
    layer.source.mask = row.mask;
    layer.source.names = {row.first_name};
    layer.source.frames = 8;
    layer.set_in_out(2, 6);
    const node_reader script(nuke_nodes(composition, {0}));
    const node& read = first_of(script, "Read");
    EXPECT_EQ(read.knobs.at("file"), row.file);
    EXPECT_EQ(std::stoi(read.knobs.at("first")), row.first + 2);
    EXPECT_EQ(std::stoi(read.knobs.at("last")), row.first + 5);
    // Source frame 0 shows where the layer begins.
    EXPECT_EQ(std::stoi(first_of(script, "TimeOffset").knobs.at("time_offset")), 20 - row.first);
  }
  document composition;
  composition.doc.mask_size = {200, 100};
  track_info& layer = composition.put("a");
  layer.placement.pos = {10, 20};
  layer.placement.flip_x = true;
  layer.look.visible = false;
  const node_reader script(nuke_nodes(composition, {0}));
  EXPECT_EQ(first_of(script, "Transform").knobs.at("translate"), "90 15");  // y goes up
  EXPECT_EQ(first_of(script, "Transform").knobs.at("scale"), "-1.00 1.00");
  EXPECT_EQ(first_of(script, "Read").knobs.at("disable"), "true");
}

TEST(correction_stages, are_the_correction) {
  img::correction tf;
  tf.exposure = {50, -20, 130};
  tf.temperature = 4000;
  tf.lift = {10, 20, -30};
  tf.gain = {90, 110, 130};
  tf.gamma = {80, 100, 120};
  tf.brightness = {10, 0, -10};
  tf.contrast = {20, 0, -20};
  const ksn::correction_stages s(tf);
  const img::correction_math math(tf);
  for (const double v : {0.05, 0.4, 1.3}) {
    for (std::size_t i = 0; i < 3; ++i) {
      double x = v * s.multiply[i] * (s.gain[i] - s.lift[i]) + s.lift[i];
      x = std::pow(std::max(x, 0.0), 1 / s.gamma[i]);
      if (i != 1) {
        x = (std::sqrt(x) + s.brightness[i] - ksn::contrast_pivot) * s.contrast[i] + ksn::contrast_pivot;
        x = std::max(x, 0.0) * std::max(x, 0.0);
      }
      EXPECT_NEAR(x, math.correct(v, 2 - static_cast<int>(i)), 1e-9) << i;
    }
  }
}

TEST(template_text, fills_places_as_printf_does) {
  ksn::template_text text;
  text.add("%s|%d|%04d|%f|%.2f|%%|%3d", std::string_view("a%s"), -7, 42, 1.5, 2.675, 9);
  text.add("|%f", std::nan(""));
  EXPECT_EQ(text.take(), "a%s|-7|0042|1.500000|2.67|%|  9|0.000000");
  EXPECT_THROW(text.add("%d", 1.5), std::logic_error);
  EXPECT_THROW(text.add("%d"), std::logic_error);
  EXPECT_THROW(text.add("", 1), std::logic_error);
}

// --- the other script runs in a JavaScript engine, with a host that writes down what it is asked for ---

const char* const host = R"js(
var lines = [], added = [];
function text(v) { return typeof v === "string" ? encodeURIComponent(v) : v && v.name ? v.name : String(v); }
function call(what, list) {
  var words = [];
  for (var i = 0; i < list.length; ++i) words.push(text(list[i]));
  lines.push(what + "(" + words.join(",") + ")");
}
function setter(name) { return { setValue: function (v) { call(name, [v]); } }; }
function Layer(item) { this.item = item; added.push(this); }
Layer.prototype.property = function (group) {
  return {
    property: setter,
    addProperty: function (effect) { call("effect", [effect]); return { property: setter }; }
  };
};
function Item() { this.mainSource = {}; }
function ImportOptions() {}
function File(path) { this.path = path; }
var AlphaMode = { IGNORE: "IGNORE", STRAIGHT: "STRAIGHT", PREMULTIPLIED: "PREMULTIPLIED" };
var BlendingMode = { NORMAL: "NORMAL", ADD: "ADD", MULTIPLY: "MULTIPLY", SCREEN: "SCREEN", DIFFERENCE: "DIFFERENCE" };
var theComp = { layers: { add: function (item) { return new Layer(item); } } };
var app = {
  beginUndoGroup: function (name) { call("begin", [name]); },
  endUndoGroup: function () { call("end", []); },
  project: {
    items: {
      addComp: function () { call("comp", arguments); return theComp; },
      addFolder: function (name) { call("folder", [name]); return { name: "folder" }; }
    },
    importFile: function (io) { call("file", [io.file.path, io.sequence]); return new Item(); },
    importPlaceholder: function () { call("placeholder", arguments); return new Item(); }
  }
};
)js";
const char* const report = R"js(
for (var i = 0; i < added.length; ++i) {
  var l = added[i], s = l.item.mainSource;
  call("layer", [l.startTime, l.inPoint, l.outPoint, l.enabled, l.blendingMode, l.adjustmentLayer, l.effectsActive,
                 s.alphaMode, s.conformFrameRate, s.loop, l.item.pixelAspect, l.item.parentFolder]);
}
call("area", [theComp.workAreaStart, theComp.workAreaDuration, theComp.bgColor]);
print(lines.join("\n"));
)js";

// The host's notes; empty where there is no engine.
std::string run_script(const std::string& script) {
  if (!std::filesystem::exists("/usr/bin/duk")) return {};
  for (const char c : script) EXPECT_TRUE(static_cast<unsigned char>(c) < 127) << script;
  const support::temp_folder folder;
  support::write_file(folder / "run.js", host + script + report);
  support::process_options options;
  options.output = folder / "out";
  options.errors = folder / "errors";
  const int code = support::process({"duk", folder / "run.js"}, options).wait();
  EXPECT_EQ(code, 0) << support::read_file(options.output) << support::read_file(options.errors) << script;
  return support::read_file(options.output);
}

TEST(after_effects_script, rebuilds_the_composition) {
  document composition;
  composition.file_name = "/x/my \"comp\".ksncomp";
  composition.doc.mask_size = {200, 100};
  composition.doc.tm_n = 50;
  composition.doc.tm_f = 10;
  composition.doc.tm_l = 20;
  track_info& text = composition.put_layer(ugly, source_type::text);
  text.look.tf.exposure = {50, 50, 50};
  text.look.tf.gamma = {50, 50, 50};
  text.look.tf.saturation = {40, 40, 40};
  text.look.tf.disable_cc = true;
  composition.put_layer("adjust", source_type::adjustment).look.blend_type = ksn::blend_type::add;
  composition.put_layer("s", source_type::wave).source.path = "/x/100%.wav";
  track_info& still = composition.put_layer("still", source_type::image, ksn::alpha_type::normal);
  still.look.visible = false;
  still.placement.pos = {-10, 5};
  still.placement.flip_y = true;
  track_info& sequence = composition.put("sequence", 5, 10);
  sequence.timing.retime = 2;
  sequence.set_in_out(4, 40);
  const std::string told = run_script(after_effects_script(composition));
  if (told.empty()) GTEST_SKIP() << "no duk";
  EXPECT_EQ(told, R"js(begin(Import%20my%20%22comp%22.ksncomp)
comp(my%20%22comp%22,200,100,1,2,25)
folder(my%20%22comp%22)
file(%2Fnowhere%2Fsequence%2Fsequence.0.tga,true)
Position(100,50)
Scale(100,100)
Opacity(100)
file(%2Fnowhere%2Fstill.tga,false)
Position(90,55)
Scale(100,-100)
Opacity(100)
file(%2Fx%2F100%2525.wav,false)
placeholder(adjust,40,30,25,0.04)
Position(100,50)
Scale(100,100)
Opacity(100)
placeholder(a%22b%5Cc%0Ad'e%09%C3%A9%F0%9F%8E%AC%20%7B%5B%24x%5D%7D%2050%25,40,30,25,0.04)
Position(100,50)
Scale(100,100)
Opacity(100)
effect(Exposure)
Exposure(0.5)
effect(Gamma%2FPedestal%2FGain)
Red Gamma(2)
Green Gamma(2)
Blue Gamma(2)
effect(Hue%2FSaturation)
Master Hue(0)
Master Saturation(-60)
end()
layer(0.2,0.36,1.8,true,NORMAL,undefined,undefined,IGNORE,12.5,2,1,folder)
layer(0,0,0.04,false,NORMAL,undefined,undefined,STRAIGHT,undefined,undefined,1,folder)
layer(0,0,0.04,true,undefined,undefined,undefined,undefined,undefined,undefined,undefined,folder)
layer(0,0,0.04,true,ADD,true,undefined,PREMULTIPLIED,25,1,1,folder)
layer(0,0,0.04,true,NORMAL,undefined,false,PREMULTIPLIED,25,1,1,folder)
area(0.4,0.4,0,0,0)
)js");
}

}  // namespace
