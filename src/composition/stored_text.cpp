#include "composition/stored_text.h"

#include <utility>
#include <vector>

#include "composition/documents/persistence.h"
#include "composition/documents/serialize_track.h"
#include "io/binary_archive.h"
#include "io/buffered.h"
#include "io/memory_reader.h"
#include "io/packer.h"
#include "lib/base64.h"

namespace ksn {
namespace {

struct byte_writer : io::binary_writer {
  std::vector<std::uint8_t> bytes;
  void write(const void* buffer, int count) override {
    const auto* first = static_cast<const std::uint8_t*>(buffer);
    bytes.insert(bytes.end(), first, first + count);
  }
  void flush() override {}
  const char* name() const override { return "(text)"; }
};

template <class Body>
std::string packed(Body body) {
  byte_writer bytes;
  io::packer packer(bytes);
  io::buffered_writer buffer(packer);
  io::binary_oarchive archive(buffer);
  archive.write_header();
  body(archive);
  buffer.flush();
  return lib::to_base64(bytes.bytes);
}

template <class Body>
void unpacked(std::string_view text, Body body) {
  std::vector<std::uint8_t> bytes;
  if (!lib::from_base64(text, bytes)) throw io::invalid_format("(text)", "Not base64");
  io::memory_reader reader(bytes.data(), bytes.size());
  io::unpacker unpacker(reader);
  io::buffered_reader buffer(unpacker);
  io::binary_iarchive archive(buffer);
  archive.limit_elements((1 << 20) + 16 * static_cast<long long>(bytes.size()));
  archive.read_header();
  body(archive);
}

template <class A>
void serialize_content(A& ar, layer_source& v) {
  put_word(ar, "source_type", v.type, source_type::none);
  ar.field("frames", v.frames);
  ar.field("width", v.width);
  ar.field("height", v.height);
  if (v.type == source_type::clipboard_image) serialize_picture(ar, "clipboard_image", v.clipboard_image);
  if (v.type == source_type::brush) serialize_picture(ar, "brush_image", v.brush_image);
  if (v.type == source_type::brush_sequence) serialize_canvases(ar, v.brush_seq);
  if (v.type == source_type::embedded_audio) serialize_sound(ar, v.audio);
}

}  // namespace

bool has_stored_content(const track_info& layer) {
  return is_embedded(layer.source.type);
}

std::string stored_content(const track_info& layer) {
  layer_source content = layer.source;
  return packed([&](auto& archive) { serialize_content(archive, content); });
}

void take_stored_content(std::string_view text, track_info& layer) {
  // Held to what holds for the layers of a document.
  composition_view stored;
  layer_source& content = stored.doc.tracks.emplace_back().source;
  unpacked(text, [&](auto& archive) { serialize_content(archive, content); });
  put_within_bounds(stored);
  if (!is_embedded(content.type)) throw io::invalid_format("(text)", "No picture or sound of a layer");
  content.fpcs = layer.source.fpcs;
  layer.source.take(std::move(content));
}

std::string stored_table(const img::lookup_table& table) {
  img::lookup_table copy = table;
  return packed([&](auto& archive) {
    if (has_own_grid(copy)) state_own_grids(archive);
    archive.field("lookup_table", copy);
  });
}

img::lookup_table table_of(std::string_view text) {
  img::lookup_table table;
  unpacked(text, [&](auto& archive) { archive.field("lookup_table", table); });
  return table;
}

}  // namespace ksn
