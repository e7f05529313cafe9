// From the bytes of a request to what is given out and to whom.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "services/http/answer.h"
#include "services/http/md5.h"
#include "services/http/users.h"
#include "support/http_requests.h"
#include "support/temp_folder.h"

namespace {

using namespace services::http;

TEST(http_request, whole_and_in_pieces) {
  for (const support::http_row& row : support::http_rows()) {
    for (const std::size_t piece : {row.bytes.size() + 1, std::size_t{1}, std::size_t{2}, std::size_t{3}}) {
      const support::http_reading read = support::read_in_pieces(row.bytes, piece);
      EXPECT_EQ(read.state, row.read.state) << row.name << ", pieces of " << piece;
      EXPECT_TRUE(read.request == row.read.request) << row.name << ", pieces of " << piece;
    }
  }
}

TEST(http_request, paths) {
  using kind = target::kind;
  struct row {
    std::string path;
    kind what;
    status error;
    int width, height, refresh;
    std::string name;
  };
  const auto picture = [](std::string path, int width, int height, int refresh = 0) {
    return row{std::move(path), kind::picture, {}, width, height, refresh, ""};
  };
  const auto file = [](std::string path, std::string name, int refresh = 0) {
    return row{std::move(path), kind::file, {}, 0, 0, refresh, std::move(name)};
  };
  const auto error = [](std::string path, status error) {
    return row{std::move(path), kind::error, error, 0, 0, 0, ""};
  };
  const row rows[] = {
      picture("/640,360", 640, 360),
      picture("/640,360?refresh=2", 640, 360, 2),
      picture("/640,360extra", 640, 360),
      picture("/640%2C360?5", 640, 360),
      picture("/1,2048?refresh=-3", 1, 2048),
      picture("/2048,1?refresh=99999999999", 2048, 1, 2147483647),
      picture("/2,3?x&refresh=7", 2, 3),
      picture("/2,3?refresh=1s?refresh=7", 2, 3, 1),
      error("/2049,100", bad_size),
      error("/100,2049", bad_size),
      error("/0,100", bad_size),
      error("/-5,100", bad_size),
      error("/100,99999999999999999999", bad_size),
      file("/", ""),
      file("/?refresh=4", "", 4),
      file("/a/b.html?refresh=x", "a/b.html"),
      file("/640", "640"),
      file("/640,", "640,"),
      file("/,360", ",360"),
      file("/a%20b%3fc", "a b?c"),
      file("/100%", "100%"),
      file("/a%zz%4", "a%zz%4"),
      file("/a..b/c.", "a..b/c."),
      file("//etc/passwd", "/etc/passwd"),
      error("", bad_path),
      error("a/b", bad_path),
      error("http://x/", bad_path),
      error("/.htpasswd", not_found),
      error("/%2ehtpasswd", not_found),
      error("/sub/.htpasswd", not_found),
      error("/sub%2f%2Ehtpasswd", not_found),
      error("/../a", not_found),
      error("/a/%2e./b", not_found),
      error("/a/..", not_found),
      error("/./a", not_found),
      error("/a%00.html", not_found),
  };
  for (const row& r : rows) {
    const target found = find_target(r.path);
    EXPECT_EQ(found.what, r.what) << r.path;
    if (r.what == kind::error) {
      EXPECT_EQ(found.error.code, r.error.code) << r.path;
      EXPECT_EQ(found.error.text, r.error.text) << r.path;
      continue;
    }
    EXPECT_EQ(found.width, r.width) << r.path;
    EXPECT_EQ(found.height, r.height) << r.path;
    EXPECT_EQ(found.refresh, r.refresh) << r.path;
    EXPECT_EQ(found.name, r.name) << r.path;
  }
}

// RFC 1321, A.5; the last ones lie around the end of a block, by md5sum.
TEST(http_users, md5_sums) {
  EXPECT_EQ(md5_text(""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(md5_text("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_EQ(md5_text("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
            "57edf4a22be3c955ac49da2e2107b67a");
  EXPECT_EQ(md5_text(std::string(55, 'a')), "ef1772b6dff9a122358552954ad0df65");
  EXPECT_EQ(md5_text(std::string(56, 'a')), "3b0c8ac703f828b04c6c197006d17218");
  EXPECT_EQ(md5_text(std::string(64, 'a')), "014842d480b571495a4a0363793f7367");
}

TEST(http_users, who_is_let_in) {
  const users people = users::parse(
      "# a comment:x\n;another:x\n\nno colon\nann:old\nbob:b:c\r\nann:new\n"
      "empty:\n");
  struct row {
    const char* name;
    const char* password;
    bool in;
  };
  const row rows[] = {{"ann", "new", true}, {"ann", "old", false}, {"ann", "", false},      {"ann", "newer", false},
                      {"bob", "b:c", true}, {"bob", "b", false},   {"", "", false},         {"# a comment", "x", false},
                      {"empty", "", true},  {"who", "who", false}, {"no colon", "", false}, {"ann", "ne", false}};
  for (const row& r : rows) EXPECT_EQ(people.admit(r.name, r.password), r.in) << r.name << ":" << r.password;
  EXPECT_TRUE(users::parse("# none\n\n").admit("anybody", ""));

  // printf 'sum::secret' | md5sum
  const users summed = users::parse("sum::92b52594264b8ba5f6e59f5bdc00d0d8\nshort::92b5\n");
  EXPECT_TRUE(summed.admit("sum", "secret"));
  EXPECT_FALSE(summed.admit("sum", "Secret"));
  EXPECT_FALSE(summed.admit("sum", ":92b52594264b8ba5f6e59f5bdc00d0d8")) << "the sum itself is no password";
  EXPECT_FALSE(summed.admit("short", "secret"));
}

TEST(http_answer, headers_and_errors_to_the_byte) {
  EXPECT_EQ(header(ok, 12, "image/jpeg", 0),
            "HTTP/1.0 200 OK\r\nContent-Length: 12\r\nContent-Type: image/jpeg\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(header(not_authorized, 5000000000, "text/html", 2),
            "HTTP/1.0 401 Authorization failed\r\nContent-Length: 5000000000\r\nContent-Type: text/html\r\n"
            "Connection: close\r\nRefresh: 2\r\nWWW-Authenticate: Basic realm=\"Kestrin\"\r\n\r\n");
  const answer error = error_answer(not_found);
  EXPECT_EQ(*error.text, "<html><head><title>404 Not found</title></head><body><h1>404 Not found</h1></body></html>");
  EXPECT_EQ(error.head,
            "HTTP/1.0 404 Not found\r\nContent-Length: 89\r\nContent-Type: text/html\r\nConnection: close\r\n\r\n");
}

TEST(http_answer, files_below_the_root_alone) {
  const support::temp_folder folder;
  const std::string root = folder / ".hidden/root";
  support::write_file(root + "/index.html", "first");
  support::write_file(root + "/sub/a.CSS", "body");
  support::write_file(root + "/.htpasswd", "a:b");
  support::write_file(root + "/.git/config", "x");
  support::write_file(folder / ".hidden/outside.txt", "secret");
  support::write_file(folder / ".hidden/root2/beside.txt", "secret");
  namespace fs = std::filesystem;
  fs::create_symlink("sub/a.CSS", root + "/link.js");
  fs::create_symlink("../outside.txt", root + "/out.txt");
  fs::create_symlink("..", root + "/up");
  fs::create_symlink(".htpasswd", root + "/users.txt");
  fs::create_symlink(".git", root + "/git");
  fs::create_symlink("nowhere", root + "/broken");
  ASSERT_EQ(mkfifo((root + "/pipe").c_str(), 0600), 0);
  for (const char* name :
       {"a.html", "a.htm", "a.txt", "a.xml", "a.jpg", "a.JPEG", "a.png", "a.gif", "a.js", "a.zip", "a"}) {
    support::write_file(root + "/types/" + name, "");
  }
  struct row {
    const char* name;
    int code;
    const char* type;
    int length;
  };
  const row rows[] = {{"", 200, "text/html", 5},
                      {"index.html", 200, "text/html", 5},
                      {"/index.html", 200, "text/html", 5},
                      {"sub/a.CSS", 200, "text/css", 4},
                      {"link.js", 200, "text/javascript", 4},
                      {"types/a.html", 200, "text/html", 0},
                      {"types/a.htm", 200, "text/html", 0},
                      {"types/a.txt", 200, "text/plain", 0},
                      {"types/a.xml", 200, "text/xml", 0},
                      {"types/a.jpg", 200, "image/jpeg", 0},
                      {"types/a.JPEG", 200, "image/jpeg", 0},
                      {"types/a.png", 200, "image/png", 0},
                      {"types/a.gif", 200, "image/gif", 0},
                      {"types/a.js", 200, "text/javascript", 0},
                      {"types/a.zip", 200, "application/octet-stream", 0},
                      {"types/a", 200, "application/octet-stream", 0},
                      {"sub", 404, "text/html", 89},
                      {"sub/", 404, "text/html", 89},
                      {"nothing", 404, "text/html", 89},
                      {"index.html/", 404, "text/html", 89},
                      {"out.txt", 404, "text/html", 89},
                      {"up/outside.txt", 404, "text/html", 89},
                      {"up/root2/beside.txt", 404, "text/html", 89},
                      {"users.txt", 404, "text/html", 89},
                      {"git/config", 404, "text/html", 89},
                      {"broken", 404, "text/html", 89},
                      {"pipe", 404, "text/html", 89}};
  for (const row& r : rows) {
    const answer out = file_answer(root, r.name, 0);
    const status expected = r.code == 200 ? ok : not_found;
    EXPECT_EQ(out.head, header(expected, r.length, r.type, 0)) << r.name;
    EXPECT_EQ(out.file != nullptr, r.code == 200) << r.name;
  }
  EXPECT_EQ(file_answer(folder / "none", "", 3).head, error_answer(no_root, 3).head);
  EXPECT_EQ(file_answer("", "", 0).head, error_answer(no_root).head);
}

}  // namespace
