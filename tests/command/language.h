// An engine on a document of made-up layers, with everything that it writes.
#pragma once

#include <string>
#include <vector>

#include "command/engine.h"

using strings = std::vector<std::string>;

struct language {
  ksn::state composition;
  command::engine engine{composition};
  strings out;
  strings errors;
  strings sources;                           // the paths that were added, with how
  std::map<std::string, std::string> files;  // command files by absolute path

  // Layers from the top by name, with the ids 101, 102, ...; the first one is selected.
  explicit language(const strings& names = {}) {
    engine.write_output = [this](const std::string& line) { out.push_back(line); };
    engine.write_error = [this](const std::string& line) { errors.push_back(line); };
    engine.add_source = [this](const command::source_request& request) {
      static const char* const kinds[] = {"", " range=", " still", " forced"};
      sources.push_back(request.path + kinds[static_cast<int>(request.how)] + request.range);
    };
    engine.read_command_file = [this](const std::string& path, std::string& text) {
      const auto found = files.find(path);
      if (found != files.end()) text = found->second;
      return found != files.end();
    };
    command::register_fields(engine);
    command::register_language_actions(engine);
    int id = 101;
    for (const std::string& name : names) {
      ksn::track_info layer;
      layer.name = name;
      layer.default_name = name;
      layer.id = id++;
      layer.source.type = ksn::source_type::image;
      layer.source.frames = 1;
      composition.doc.tracks.push_back(layer);
    }
    if (!names.empty()) composition.doc.selection = {0};
  }

  // One command pass; what was written before is forgotten.
  void run(strings args) {
    out.clear();
    errors.clear();
    sources.clear();
    args.insert(args.begin(), "kestrin");
    engine.command_pass(args);
  }
  std::string field(const std::string& name) {
    std::string value;
    return engine.get_field(name, value) ? value : "(no field)";
  }
};

// The same with the document's own actions.
struct document_language : language {
  explicit document_language(const strings& names = {}) : language(names) {
    command::register_document_actions(engine);
    command::register_menu_choices(engine);
    composition.hooks.report_error = [this](const std::string& line) { engine.report(line); };
  }
};
