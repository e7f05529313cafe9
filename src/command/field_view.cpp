#include "command/field_view.h"

#include <stdexcept>

namespace command {

namespace {

constexpr std::string_view global_scope = "global:";

}  // namespace

field_view::field_view(engine& engine, std::string_view name, bool (*only)(const ksn::track_info&))
    : engine_(&engine), only_(only) {
  if (name.starts_with(global_scope)) {
    global_ = engine.find_global_field(name.substr(global_scope.size()));
  } else {
    layer_ = engine.find_layer_field(name);
  }
  if (!global_ && !layer_) throw std::invalid_argument("No field " + std::string(name));
}

const std::string& field_view::name() const {
  return global_ ? global_->name : layer_->name;
}
const std::string& field_view::help() const {
  return global_ ? global_->help : layer_->help;
}
const value_shape& field_view::shape() const {
  return global_ ? global_->shape : layer_->shape;
}
bool field_view::read_only() const {
  return global_ ? global_->read_only() : layer_->read_only();
}

// Calls each(field, record) for all records of the field.
template <class Each>
void field_view::for_each_record(Each each) const {
  ksn::state& composition = engine_->composition();
  if (global_) {
    each(*global_, composition);
    return;
  }
  for (const int index : composition.doc.selection) {
    ksn::track_info& layer = composition.doc.track_at(index);
    if (!only_ || only_(layer)) each(*layer_, layer);
  }
}

bool field_view::has_record() const {
  bool found = false;
  for_each_record([&](const auto&, const auto&) { found = true; });
  return found;
}

std::optional<field_value> field_view::value() const {
  std::optional<field_value> common;
  bool differ = false;
  for_each_record([&](const auto& field, const auto& record) {
    field_value value;
    field.get_value(engine_->composition(), record, value);
    differ = differ || (common && *common != value);
    common = std::move(value);
  });
  return differ ? std::nullopt : common;
}

bool field_view::set_value(const field_value& value) const {
  if (read_only()) return false;
  bool taken = true;
  const field_value allowed = clamped(shape(), value);
  for_each_record([&](const auto& field, auto& record) {
    taken = field.set_value(engine_->composition(), record, allowed) && taken;
  });
  return taken;
}

std::optional<double> field_view::number(std::size_t part) const {
  std::optional<double> common;
  bool differ = false;
  for_each_record([&](const auto& field, const auto& record) {
    field_value value;
    field.get_value(engine_->composition(), record, value);
    differ = differ || (common && *common != value.numbers[part]);
    common = value.numbers[part];
  });
  return differ ? std::nullopt : common;
}

bool field_view::set_number(double number, std::size_t part) const {
  if (read_only()) return false;
  bool taken = true;
  for_each_record([&](const auto& field, auto& record) {
    field_value value;
    field.get_value(engine_->composition(), record, value);
    value.off = false;
    value.numbers[part] = number;
    taken = field.set_value(engine_->composition(), record, clamped(field.shape, std::move(value))) && taken;
  });
  return taken;
}

void field_view::add_to_number(double by, std::size_t part) const {
  if (read_only()) return;
  for_each_record([&](const auto& field, auto& record) {
    field_value value;
    field.get_value(engine_->composition(), record, value);
    if (value.off) return;
    value.numbers[part] += by;
    field.set_value(engine_->composition(), record, clamped(field.shape, std::move(value)));
  });
}

std::optional<bool> field_view::off() const {
  std::optional<bool> common;
  bool differ = false;
  for_each_record([&](const auto& field, const auto& record) {
    field_value value;
    field.get_value(engine_->composition(), record, value);
    differ = differ || (common && *common != value.off);
    common = value.off;
  });
  return differ ? std::nullopt : common;
}

bool field_view::set_off(bool off) const {
  if (read_only()) return false;
  bool taken = true;
  for_each_record([&](const auto& field, auto& record) {
    field_value value;
    field.get_value(engine_->composition(), record, value);
    value.off = off;
    taken = field.set_value(engine_->composition(), record, clamped(field.shape, std::move(value))) && taken;
  });
  return taken;
}

std::optional<std::string> field_view::text() const {
  const std::optional<field_value> common = value();
  if (!common) return std::nullopt;
  return write_value(shape(), *common);
}

bool field_view::set_text(const std::string& text) const {
  field_value value;
  return read_value(shape(), text, value) && set_value(value);
}

}  // namespace command
