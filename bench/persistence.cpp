// A composition of 200 layers that are sequences of 10,000 frames each, written and read as a file, against plain zlib
// on the same bytes in memory: deflate at its default level in one call, and inflate.
#include <zlib.h>

#include <fstream>
#include <string>

#include "composition/documents/persistence.h"
#include "composition/opening/sequence.h"
#include "io/document.h"
#include "support.h"

namespace {

constexpr int layers = 200;
constexpr int frames = 10000;
constexpr int rounds = 7;

struct string_writer : io::binary_writer {
  void write(const void* buffer, int count) override {
    bytes.append(static_cast<const char*>(buffer), static_cast<std::size_t>(count));
  }
  void flush() override {}
  const char* name() const override { return "string"; }
  std::string bytes;
};

void fill(ksn::state& composition) {
  for (int i = 0; i < layers; ++i) {
    const std::string stem = "layer" + std::to_string(i) + "_beauty";
    ksn::name_list names;
    for (int frame = 0; frame < frames; ++frame) names.add(ksn::name_for_number(stem + ".????.exr", frame));
    ksn::track_info track;
    track.source.type = ksn::source_type::sequence;
    track.source.names = ksn::frame_names(std::move(names));
    track.source.frames = frames;
    track.source.path = "/show/shot/" + stem + "/";
    track.source.mask = stem + ".????.exr";
    track.name = track.default_name = stem + ".####.exr";
    track.look.visible = true;
    composition.doc.tracks.push_back(track);
  }
}

void print(const char* work, const bench::contender& ours, const bench::contender& peer) {
  std::printf("%-8s %7.1f ms  %-12s %7.1f ms  ratio %.2f\n", work, ours.typical() * 1e3, peer.name.c_str(),
              peer.typical() * 1e3, ours.typical() / peer.typical());
}

}  // namespace

int main() {
  const bench::work_folder work;
  ksn::state composition;
  fill(composition);
  string_writer plain;
  io::binary_oarchive archive(plain);
  archive.write_header();
  ksn::write_composition(archive, composition);

  std::string packed(compressBound(plain.bytes.size()), '\0');
  std::string unpacked(plain.bytes.size(), '\0');
  const auto bytes = [](std::string& text) { return reinterpret_cast<Bytef*>(text.data()); };
  uLongf packed_size = packed.size();
  const std::string binary = work.path() + "/a.ksncomp";
  const std::string xml = work.path() + "/a.xml";
  // Sources that are not there are looked for; that is no part of reading.
  const auto read = [](const std::string& path) {
    ksn::composition_view view;
    const auto body = [&](auto& from) { ksn::read_composition(from, view); };
    io::read_document(path, body, body);
    if (view.doc.tracks.size() != layers || view.doc.tracks[1].source.names.size() != frames) std::abort();
  };
  std::vector<bench::contender> contenders = {
      {"write", [&] { ksn::save_composition(composition, binary); }, {}},
      {"deflate",
       [&] {
         packed_size = packed.size();
         if (compress(bytes(packed), &packed_size, bytes(plain.bytes), plain.bytes.size()) != Z_OK) std::abort();
       },
       {}},
      {"read", [&] { read(binary); }, {}},
      {"inflate",
       [&] {
         uLongf size = unpacked.size();
         if (uncompress(bytes(unpacked), &size, bytes(packed), packed_size) != Z_OK) std::abort();
       },
       {}},
      {"write xml", [&] { ksn::save_composition(composition, xml); }, {}},
      {"read xml", [&] { read(xml); }, {}},
  };
  bench::run_in_turn(contenders, rounds);
  std::printf("%d layers of %d frames: %zu bytes plain, %ju packed, %ju as XML\n", layers, frames, plain.bytes.size(),
              std::filesystem::file_size(binary), std::filesystem::file_size(xml));
  print("write", contenders[0], contenders[1]);
  print("read", contenders[2], contenders[3]);
  print("write", contenders[4], contenders[1]);
  print("read", contenders[5], contenders[3]);
  std::printf("(the last two are XML)\n");
}
