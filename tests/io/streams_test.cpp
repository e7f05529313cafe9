#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <set>

#include "io/buffered.h"
#include "io/failure.h"
#include "io/file.h"
#include "io/memory_reader.h"
#include "io/packer.h"
#include "io/part_file.h"
#include "support/streams.h"
#include "support/temp_folder.h"

namespace {

using support::failure;

std::string numbers(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += static_cast<char>(i * 7 + i / 256);
  return text;
}

// Gives at most `step` bytes a call and counts the calls.
class stingy_reader : public io::binary_reader {
 public:
  stingy_reader(std::string data, int step) : data_(std::move(data)), step_(step) {}
  int read(void* buffer, int count) override {
    ++calls;
    last_count = count;
    count = std::min({count, step_, static_cast<int>(data_.size() - at_)});
    if (buffer) std::memcpy(buffer, data_.data() + at_, static_cast<std::size_t>(count));
    at_ += static_cast<std::size_t>(count);
    return count;
  }
  const char* name() const override { return "stingy"; }
  int calls = 0;
  int last_count = 0;

 private:
  std::string data_;
  int step_;
  std::size_t at_ = 0;
};

std::string read_all(io::binary_reader& reader, int step) {
  std::string text, part(static_cast<std::size_t>(step), '\0');
  for (;;) {
    const int size = reader.read(part.data(), step);
    text.append(part, 0, static_cast<std::size_t>(size));
    if (size < step) return text;
  }
}

TEST(exceptions, families) {
  EXPECT_THROW(throw io::eof_error("x"), io::read_error);
  EXPECT_THROW(throw io::seek_error("x", 1), io::file_error);
  EXPECT_THROW(throw io::invalid_count("x"), io::invalid_format);
  EXPECT_EQ(io::open_error("x", ENOENT).message(), std::strerror(ENOENT));
}

TEST(exceptions, lines) {
  support::temp_folder folder;
  const std::string link = folder / "link";
  ASSERT_EQ(symlink("nowhere", link.c_str()), 0);
  const auto line = [](auto fail) {
    try {
      fail();
    } catch (...) {
      return io::failure_line("frame 7");
    }
    return std::string();
  };
  const struct {
    std::string got, expected;
  } rows[] = {
      {line([] { throw io::read_error("a", "ReadFile", EIO); }), "\"a\": io::read_error: ReadFile: Input/output error"},
      {line([] { throw io::eof_error("a"); }), "\"a\": io::eof_error: Unexpected end of file"},
      {line([] { throw io::open_error("a", ENOENT); }), "\"a\": io::open_error: No such file or directory"},
      {line([&] { throw io::open_error(link, ENOENT); }),
       '"' + link + "\": io::open_error: The link points to nothing"},
      {line([] { throw std::bad_alloc(); }), "\"frame 7\": Not enough memory"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.got, row.expected);
}

TEST(file, reads_writes_and_skips) {
  support::temp_folder folder;
  const std::string path = folder / "\xE2\x82\xAC.bin";
  {
    io::file out(path, "wb");
    out.write("abcdef", 6);
    out.write(nullptr, 0);
    out.flush();
    EXPECT_EQ(support::read_file(path), "abcdef");
    EXPECT_EQ(static_cast<io::binary_reader&>(out).name(), path);
  }
  io::file in(path, "rb");
  char c[8];
  EXPECT_EQ(in.read(c, 2), 2);
  EXPECT_EQ(in.read(nullptr, 2), 2);
  EXPECT_EQ(in.read(c, 8), 2);
  EXPECT_EQ(c[0], 'e');
  EXPECT_EQ(in.read(c, 8), 0);
  EXPECT_EQ(in.read(nullptr, 100), 100) << "a skip is a seek";
  EXPECT_EQ(in.read(c, 8), 0);

  const std::string none = folder / "none";
  EXPECT_EQ(failure([&] { io::file x(none, "rb"); }), "io::open_error|" + none + "|" + std::strerror(ENOENT));
  EXPECT_EQ(failure([&] { io::file x(folder.path(), "rb"); }),
            "io::open_error|" + folder.path() + "|" + std::strerror(EISDIR));
  EXPECT_EQ(failure([&] { in.write("x", 1); }).substr(0, 16), "io::write_error|");
}

TEST(file, full_disk) {
  if (access("/dev/full", W_OK) != 0) GTEST_SKIP();
  io::file full("/dev/full", "wb");
  full.write("x", 1);
  EXPECT_EQ(failure([&] { full.flush(); }), std::string("io::write_error|/dev/full|") + std::strerror(ENOSPC));
  io::llfile low("/dev/full", true);
  EXPECT_EQ(failure([&] { low.write("x", 1); }), "io::write_error|/dev/full|WriteFile");
}

TEST(llfile, reads_writes_and_seeks) {
  support::temp_folder folder;
  const std::string path = folder / "a.bin";
  support::write_file(path, "old and long");
  {
    io::llfile out(path, true);
    EXPECT_EQ(support::read_file(path), "");
    EXPECT_EQ(failure([&] { io::llfile second(path, true); }), "io::open_error|" + path + "|CreateFile");
    out.write("0123456789", 10);
    EXPECT_EQ(support::read_file(path), "0123456789") << "a refused writer must not empty it, and nothing is buffered";
  }
  io::llfile in(path, false);
  EXPECT_EQ(in.size(), 10);
  char c[16] = {};
  EXPECT_EQ(in.read(c, 3), 3);
  EXPECT_EQ(in.read(nullptr, 2), 2);
  EXPECT_EQ(in.tell(), 5);
  in.read_exact(c, 5);
  EXPECT_EQ(std::string(c, 5), "56789");
  EXPECT_EQ(in.read(c, 1), 0);
  EXPECT_EQ(failure([&] { in.read_exact(c, 1); }), "io::eof_error|" + path + "|Unexpected end of file");
  EXPECT_EQ(in.read(nullptr, 50), 50);
  EXPECT_EQ(in.tell(), 60);
  EXPECT_EQ(in.try_seek(-2, SEEK_END), 8);
  EXPECT_EQ(in.try_seek(-1, SEEK_SET), -1);
  EXPECT_EQ(in.read_at(c, 4, 3), 4);
  EXPECT_EQ(std::string(c, 4), "3456");
  EXPECT_EQ(in.read_at(c, 4, 9), 1);
  EXPECT_EQ(in.tell(), 8) << "reading at a place moves nothing";
  EXPECT_EQ(in.read(c, 1), 1);
  EXPECT_EQ(c[0], '8');
  in.seek(0, SEEK_SET);
  EXPECT_EQ(in.tell(), 0);

  const std::string seek_failure = "io::seek_error|" + path + "|SetFilePointer";
  EXPECT_EQ(failure([&] { in.seek(-100, SEEK_CUR); }), seek_failure);
  in.seek(INT_MAX, SEEK_SET);
  EXPECT_EQ(in.tell(), INT_MAX);
  EXPECT_EQ(failure([&] { in.seek(1, SEEK_CUR); }), seek_failure) << "2 GiB is out of reach";
  EXPECT_EQ(in.tell(), -1);
  EXPECT_EQ(failure([&] { in.read(nullptr, INT_MAX); }), seek_failure);

  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0666), 0);
  for (const std::string& wrong : {folder / "none", folder.path(), folder / "pipe"}) {
    EXPECT_EQ(failure([&] { io::llfile x(wrong, false); }), "io::open_error|" + wrong + "|CreateFile");
  }
  EXPECT_EQ(failure([&] { io::llfile x(folder.path(), true); }), "io::open_error|" + folder.path() + "|CreateFile");
  EXPECT_EQ(failure([&] { in.write("x", 1); }), "io::write_error|" + path + "|WriteFile");
}

TEST(memory_reader, ends_at_the_end) {
  io::memory_reader in("abcdef", 6);
  char c[8] = {};
  EXPECT_EQ(in.read(c, 2), 2);
  EXPECT_EQ(in.read(nullptr, 1), 1);
  EXPECT_EQ(in.read(c, 8), 3);
  EXPECT_EQ(std::string(c), "def");
  EXPECT_EQ(in.read(c, 8), 0);
  EXPECT_EQ(in.read(c, -3), -3) << "below 1 the count itself comes back";
}

TEST(buffered_reader, same_bytes_in_any_pieces) {
  const std::string data = numbers(1000);
  for (int step : {1, 7, 64, 2000})
    for (int size : {1, 3, 64, 4096})
      for (int part : {1, 5, 63, 64, 65, 999, 1000}) {
        stingy_reader source(data, step);
        io::buffered_reader in(source, size);
        ASSERT_EQ(read_all(in, part), data) << step << " " << size << " " << part;
      }
}

TEST(buffered_reader, steps_back_and_passes_through) {
  const std::string data = numbers(100);
  stingy_reader source(data, 100);
  io::buffered_reader in(source, 10);
  char c[64];
  EXPECT_EQ(in.available(), 0);
  EXPECT_EQ(in.read(c, 0), 0);
  EXPECT_EQ(in.read(c, 12), 12);
  EXPECT_EQ(in.available(), 8);
  EXPECT_FALSE(in.unread(3)) << "only two of the present buffer are consumed";
  EXPECT_FALSE(in.unread(-1));
  EXPECT_EQ(in.available(), 8);
  EXPECT_TRUE(in.unread(2));
  EXPECT_EQ(in.read(c, 1), 1);
  EXPECT_EQ(c[0], data[10]);

  const int calls = source.calls;
  EXPECT_EQ(in.read_through(nullptr, 4), 4);
  EXPECT_EQ(source.calls, calls) << "what the buffer holds needs no read";
  EXPECT_EQ(in.read_through(c, 35), 35);
  EXPECT_EQ(source.calls, calls + 1);
  EXPECT_EQ(source.last_count, 30) << "the rest in one read past the buffer";
  EXPECT_EQ(std::string(c, 35), data.substr(15, 35));
  EXPECT_EQ(in.read_through(nullptr, 5), 5);
  EXPECT_EQ(source.last_count, 5) << "a skip is handed down";
  EXPECT_EQ(in.available(), 0);
  EXPECT_EQ(in.read(c, 1), 1);
  in.discard();
  EXPECT_EQ(in.read(c, 1), 1);
  EXPECT_EQ(c[0], data[65]) << "the ten buffered bytes were forgotten";
  EXPECT_EQ(in.read(nullptr, 100), 34);
  EXPECT_EQ(in.read(c, 1), 0);
  EXPECT_STREQ(in.name(), "stingy");
}

TEST(buffered_writer, hands_over_only_when_room_is_needed) {
  support::byte_writer target;
  {
    io::buffered_writer out(target, 4);
    out.write("abcd", 4);
    EXPECT_TRUE(target.sizes.empty());
    out.write("", 0);
    EXPECT_TRUE(target.sizes.empty());
    out.write("e", 1);
    EXPECT_EQ(target.bytes, "abcd");
    out.write("fghijklm", 8);
    EXPECT_EQ(target.sizes, (std::vector<int>{4, 4, 4}));
    out.flush();
    EXPECT_EQ(target.bytes, "abcdefghijklm");
    EXPECT_EQ(target.flushes, 1);
    out.write("n", 1);
  }
  EXPECT_EQ(target.bytes, "abcdefghijklmn");

  target.room = 14;
  io::buffered_writer full(target, 4);
  full.write("o", 1);
  EXPECT_EQ(failure([&] { full.flush(); }), "io::write_error|bytes|full");
}

TEST(packer, round_trip_in_any_pieces) {
  const std::string data = numbers(20000) + std::string(100000, 'x');
  for (int part : {1, 100, 8192, 200000}) {
    support::byte_writer packed;
    {
      // Copies share the stream; the last to go would finish it.
      io::packer out(packed);
      io::packer copy(out);
      for (std::size_t at = 0; at < data.size(); at += static_cast<std::size_t>(part))
        (at % 2 ? out : copy).write(data.data() + at, std::min(static_cast<int>(data.size() - at), part));
      if (part != 100) out.flush();
      const std::size_t size = packed.bytes.size();
      if (part != 100) out.flush();
      EXPECT_EQ(packed.bytes.size(), size) << "a second finish adds nothing";
    }
    for (int size : packed.sizes) EXPECT_LE(size, 8192);
    // zlib itself agrees that it is one zlib stream.
    std::string plain(data.size() + 1, '\0');
    uLongf plain_size = plain.size();
    ASSERT_EQ(uncompress(reinterpret_cast<Bytef*>(plain.data()), &plain_size,
                         reinterpret_cast<const Bytef*>(packed.bytes.data()), packed.bytes.size()),
              Z_OK);
    EXPECT_EQ(plain.substr(0, plain_size), data);

    stingy_reader source(packed.bytes, part);
    io::unpacker in(source);
    EXPECT_EQ(read_all(in, part), data);
    char c;
    EXPECT_EQ(in.read(&c, 1), 0);
  }
  support::byte_writer full;
  full.room = 5;
  io::packer out(full);
  EXPECT_EQ(failure([&] {
              for (int i = 0; i < 1000; ++i) out.write(data.data(), 20000);
              out.flush();
            }),
            "io::write_error|bytes|full");
}

TEST(unpacker, failures) {
  support::byte_writer packed;
  const std::string data = numbers(20000);
  io::packer(packed).write(data.data(), 20000);
  char c[64];
  {
    io::memory_reader source(packed.bytes.data(), packed.bytes.size());
    io::unpacker in(source);
    EXPECT_EQ(in.read(nullptr, 19990), 19990);
    EXPECT_EQ(in.read(c, 5), 5);
    EXPECT_EQ(std::string(c, 5), data.substr(19990, 5));
    for (int i = 0; i < 2; ++i)
      EXPECT_EQ(failure([&] { in.read(nullptr, 6); }).substr(0, 31), "io::seek_error|(memory_reader)|");
  }
  for (std::size_t cut : {std::size_t{0}, std::size_t{1}, packed.bytes.size() / 2, packed.bytes.size() - 1}) {
    io::memory_reader source(packed.bytes.data(), cut);
    io::unpacker in(source);
    std::string all(20001, '\0');
    EXPECT_EQ(failure([&] { in.read(all.data(), 20001); }), "io::eof_error|(memory_reader)|Unexpected end of file")
        << cut;
  }
  packed.bytes[0] = '!';
  io::memory_reader source(packed.bytes.data(), packed.bytes.size());
  io::unpacker in(source);
  EXPECT_EQ(failure([&] { in.read(c, 1); }), "io::decompression_error|(memory_reader)|incorrect header check");
}

TEST(part_file, appears_whole_or_not_at_all) {
  support::temp_folder folder;
  const std::string target = folder / "out.tga";
  support::write_file(target, "old");
  {
    io::part_file part(target);
    EXPECT_EQ(part.path(), target + ".part");
    support::write_file(part.path(), "half");
  }
  EXPECT_EQ(support::read_file(target), "old");
  EXPECT_FALSE(std::filesystem::exists(target + ".part")) << "what failed leaves nothing behind";
  // A part file that a killed program left is taken over.
  support::write_file(target + ".part", "of another");
  {
    io::part_file part(target);
    EXPECT_EQ(failure([&] { io::part_file second(target); }),
              "io::open_error|" + target + "|" + std::strerror(EWOULDBLOCK));
    support::write_file(part.path(), "new");
    part.commit();
  }
  EXPECT_EQ(support::read_file(target), "new");
  EXPECT_FALSE(std::filesystem::exists(target + ".part"));

  // A link stays a link, and permissions stay.
  std::filesystem::create_directory(folder / "real");
  std::filesystem::rename(target, folder / "real/out_v2.tga");
  std::filesystem::create_symlink("real/out_v2.tga", target);
  ASSERT_EQ(chmod(target.c_str(), 0664), 0);
  io::part_file linked(target);
  EXPECT_EQ(linked.path(), folder / "real/out_v2.tga.part");
  support::write_file(linked.path(), "newer");
  linked.commit();
  EXPECT_EQ(failure([&] { linked.commit(); }),
            "io::write_error|" + linked.path().substr(0, linked.path().size() - 5) + "|" + std::strerror(ENOENT));
  EXPECT_TRUE(std::filesystem::is_symlink(target));
  EXPECT_EQ(support::read_file(folder / "real/out_v2.tga"), "newer");
  EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(target).permissions()), 0664u);

  EXPECT_EQ(failure([&] { io::part_file x(folder.path()); }),
            "io::open_error|" + folder.path() + "|" + std::strerror(EISDIR));
  if (geteuid() != 0) {
    ASSERT_EQ(chmod(target.c_str(), 0444), 0);
    EXPECT_EQ(failure([&] { io::part_file x(target); }), "io::open_error|" + target + "|" + std::strerror(EACCES));
  }
  const std::string pipe = folder / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0666), 0);
  EXPECT_EQ(failure([&] { io::part_file x(pipe); }), "io::open_error|" + pipe + "|" + std::strerror(ENXIO));
  const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
  {
    io::part_file direct(pipe);
    EXPECT_EQ(direct.path(), pipe);
    direct.commit();
    std::filesystem::create_symlink("pipe", folder / "link");
    EXPECT_FALSE(io::part_file(folder / "link").is_apart());
  }
  close(reader);
  EXPECT_TRUE(std::filesystem::is_fifo(pipe));

  // Links that lead nowhere are told and stay.
  std::filesystem::create_symlink("nothing", folder / "dangling");
  std::filesystem::create_symlink("loop", folder / "loop");
  EXPECT_EQ(failure([&] { io::part_file x(folder / "dangling"); }),
            "io::open_error|" + (folder / "dangling") + "|" + std::strerror(ENOENT));
  EXPECT_EQ(failure([&] { io::part_file x(folder / "loop"); }),
            "io::open_error|" + (folder / "loop") + "|" + std::strerror(ELOOP));
}

TEST(part_file, names_of_every_length) {
  support::temp_folder folder;
  for (const std::string& letter : {std::string("x"), std::string("\xC3\xA9")}) {
    std::set<std::string> parts;
    for (const std::size_t length : {250u, 251u, 252u, 254u, 255u}) {
      std::string name;
      while (name.size() + letter.size() <= length) name += letter;
      name.resize(length, '.');
      io::part_file part(folder / name);
      EXPECT_TRUE(parts.insert(part.path()).second);
      EXPECT_LE(std::filesystem::path(part.path()).filename().string().size(), 255u);
      support::write_file(part.path(), "whole");
      part.commit();
      EXPECT_EQ(support::read_file(folder / name), "whole") << length;
    }
  }
  const std::string longer = folder / std::string(256, 'x');
  EXPECT_EQ(failure([&] { io::part_file x(longer); }), "io::open_error|" + longer + "|" + std::strerror(ENAMETOOLONG));
}

}  // namespace
