// Entries of the two field tables in one line each.
#pragma once

#include <string>
#include <utility>

#include "command/engine.h"
#include "command/messages.h"
#include "command/values.h"

namespace command {

// `get` gives the text of the field, `set` stores a text or returns false for one that it refuses.
template <class Get, class Set>
void add_global(engine& engine, std::string name, std::string form, std::string help, Get get, Set set) {
  global_field field;
  field.get = [get](const ksn::state& composition, std::string& out) {
    out = get(composition);
    return true;
  };
  field.set = [&engine, name, set](ksn::state& composition, const std::string& value) {
    if (!set(composition, value)) engine.report(invalid_value(value, "global", name));
    return true;
  };
  field.name = std::move(name);
  field.value_form = std::move(form);
  field.help = std::move(help);
  engine.global_field_table.push_back(std::move(field));
}

template <class Get, class Set>
void add_layer(engine& engine, std::string name, std::string form, std::string help, Get get, Set set) {
  layer_field field;
  field.get = [get](const ksn::state& composition, const ksn::track_info& layer, std::string& out) {
    out = get(composition, layer);
    return true;
  };
  field.set = [&engine, name, set](ksn::state& composition, ksn::track_info& layer, const std::string& value) {
    if (!set(composition, layer, value)) engine.report(invalid_value(value, "layer", name));
    return true;
  };
  field.name = std::move(name);
  field.value_form = std::move(form);
  field.help = std::move(help);
  engine.layer_field_table.push_back(std::move(field));
}

// A field that is one member of the record; `member` gives a reference to it, of a const record too.
template <class Member>
void add_layer_bool(engine& engine, std::string name, std::string help, Member member) {
  add_layer(
      engine, std::move(name), "0|1", std::move(help),
      [member](const ksn::state&, const ksn::track_info& layer) { return write_bool(member(layer)); },
      [member](ksn::state&, ksn::track_info& layer, const std::string& value) {
        return read_bool(value, member(layer));
      });
}

template <class Member>
void add_layer_int(engine& engine, std::string name, std::string help, int least, int most, Member member) {
  add_layer(
      engine, std::move(name), "N", std::move(help),
      [member](const ksn::state&, const ksn::track_info& layer) { return std::to_string(member(layer)); },
      [member, least, most](ksn::state&, ksn::track_info& layer, const std::string& value) {
        return read_int(value, member(layer), least, most);
      });
}

template <class E, class Member>
void add_layer_word(engine& engine, std::string name, std::string help, Member member) {
  add_layer(
      engine, std::move(name), word_form<E>(), std::move(help),
      [member](const ksn::state&, const ksn::track_info& layer) {
        return std::string(ksn::word_of(static_cast<E>(member(layer))));
      },
      [member](ksn::state&, ksn::track_info& layer, const std::string& value) {
        return ksn::value_of(value, member(layer));
      });
}

// The parts of the tables, in the order of print_fields.
void register_global_fields(engine& engine);
void register_layer_fields(engine& engine);
void register_color_fields(engine& engine);  // of layers, then of the view
void register_text_fields(engine& engine);
void register_r3d_fields(engine& engine);

}  // namespace command
