#include "services/http/answer.h"

#include <filesystem>
#include <system_error>

#include "lib/paths.h"

namespace services::http {
namespace {

struct type_row {
  std::string_view extension;
  std::string_view type;
};

constexpr type_row types[] = {{"html", "text/html"}, {"htm", "text/html"},   {"txt", "text/plain"},
                              {"css", "text/css"},   {"xml", "text/xml"},    {"js", "text/javascript"},
                              {"jpg", "image/jpeg"}, {"jpeg", "image/jpeg"}, {"png", "image/png"},
                              {"gif", "image/gif"}};

std::string_view type_of(const std::string& name) {
  const std::string extension = lib::lower_extension(name);
  for (const type_row& row : types) {
    if (row.extension == extension) return row.type;
  }
  return "application/octet-stream";
}

// The real path of the file, empty when it is not to be given out.
std::string path_below(const std::filesystem::path& root, const std::string& name) {
  std::error_code error;
  const std::filesystem::path path = std::filesystem::canonical(root / ("./" + name), error);
  if (error || !std::filesystem::is_regular_file(path, error)) return {};
  const std::string inside = path.lexically_relative(root).string();
  return inside.empty() || has_hidden_component(inside) ? std::string() : path.string();
}

}  // namespace

std::string header(status status, std::int64_t length, std::string_view type, int refresh) {
  std::string text = "HTTP/1.0 " + std::to_string(status.code) + " ";
  text.append(status.text).append("\r\nContent-Length: ").append(std::to_string(length));
  text.append("\r\nContent-Type: ").append(type).append("\r\nConnection: close\r\n");
  if (refresh > 0) text += "Refresh: " + std::to_string(refresh) + "\r\n";
  if (status == not_authorized) text += "WWW-Authenticate: Basic realm=\"Kestrin\"\r\n";
  return text + "\r\n";
}

answer error_answer(status status, int refresh) {
  const std::string title = std::to_string(status.code) + " " + std::string(status.text);
  auto body = std::make_shared<const std::string>("<html><head><title>" + title + "</title></head><body><h1>" + title +
                                                  "</h1></body></html>");
  const auto length = static_cast<std::int64_t>(body->size());
  return {header(status, length, "text/html", refresh), std::move(body), nullptr, length};
}

answer text_answer(std::shared_ptr<const std::string> body, std::string_view type, int refresh) {
  const auto length = static_cast<std::int64_t>(body->size());
  return {header(ok, length, type, refresh), std::move(body), nullptr, length};
}

answer file_answer(const std::string& root, const std::string& name, int refresh) {
  std::error_code error;
  const std::filesystem::path real_root = std::filesystem::canonical(root, error);
  if (root.empty() || error) return error_answer(no_root, refresh);
  const std::string& wanted = name.empty() ? std::string("index.html") : name;
  const std::string path = path_below(real_root, wanted);
  if (path.empty()) return error_answer(not_found, refresh);
  auto file = std::make_unique<platform::positioned_file>(path);
  if (file->error() != 0) return error_answer(not_found, refresh);
  const std::int64_t length = file->size();
  if (length < 0) return error_answer(no_size, refresh);
  return {header(ok, length, type_of(wanted), refresh), nullptr, std::move(file), length};
}

}  // namespace services::http
