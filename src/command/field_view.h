// A field as a widget binds to it, by its name.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "command/engine.h"

namespace command {

// A field of all selected layers, or with "global:" in front of its name of the document. Values are typed and in the
// user's unit, so that a drag prints nothing; what is set is brought into the field's bounds first. Cheap to make and
// to copy, valid as long as the engine. Main thread.
class field_view {
 public:
  // Throws std::invalid_argument for a name that no field has. With `only`, of the selected layers it concerns those
  // for which it holds.
  field_view(engine& engine, std::string_view name, bool (*only)(const ksn::track_info&) = nullptr);

  const std::string& name() const;
  const std::string& help() const;
  const value_shape& shape() const;
  bool read_only() const;

  // The value; nothing with no layer selected, and with several that differ.
  std::optional<field_value> value() const;
  // Whether there is something to show at all: with true and no value(), the layers differ.
  bool has_record() const;
  // False for a value that a record refuses, and for a field that is read only.
  bool set_value(const field_value& value) const;

  // One number of the value: of several layers it is given when they agree in that number.
  std::optional<double> number(std::size_t part = 0) const;
  // Sets one number and leaves the others of each layer as they are. A field that was off is on then.
  bool set_number(double number, std::size_t part = 0) const;
  // Adds to one number of each layer, as far as its bounds go. A field that is off stays off.
  void add_to_number(double by, std::size_t part = 0) const;

  // Whether a field with a word to switch it off is off; of several layers when they agree. Switching keeps the rest of
  // the value, which each layer has.
  std::optional<bool> off() const;
  bool set_off(bool off) const;

  // As people write it; the text of a text field stands as it is. False for one that the field refuses.
  std::optional<std::string> text() const;
  bool set_text(const std::string& text) const;

 private:
  template <class Each>
  void for_each_record(Each each) const;

  engine* engine_;
  const global_field* global_ = nullptr;
  const layer_field* layer_ = nullptr;
  bool (*only_)(const ksn::track_info&);
};

}  // namespace command
