#include "tools/serve/StaticFiles.h"

#include <vector>

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace orvtool {
namespace {

bool Canonicalise(const std::string& path, std::string& canonical) {
  char* resolved = realpath(path.c_str(), nullptr);
  if (resolved == nullptr) return false;
  canonical = resolved;
  std::free(resolved);
  return true;
}

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// True when a segment of the relative path climbs up ("..").
bool ClimbsUp(const std::string& relative) {
  std::size_t start = 0;
  while (start <= relative.size()) {
    std::size_t slash = relative.find('/', start);
    if (slash == std::string::npos) slash = relative.size();
    if (relative.compare(start, slash - start, "..") == 0 && slash - start == 2) return true;
    start = slash + 1;
  }
  return false;
}

}  // namespace

bool StaticFiles::Open(const std::string& root, std::string& error) {
  root_.clear();
  std::string canonical;
  struct stat info {};
  if (!Canonicalise(root, canonical) || stat(canonical.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
    error = root + ": no such directory";
    return false;
  }
  root_ = canonical == "/" ? std::string() : canonical;
  if (root_.empty()) {
    error = "refusing to serve the whole file system as the web root";
    return false;
  }
  return true;
}

bool NormaliseRelativePath(std::string& path) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  bool trailing = path.empty() || path.back() == '/';
  while (start <= path.size()) {
    std::size_t end = path.find('/', start);
    if (end == std::string::npos) end = path.size();
    std::string part = path.substr(start, end - start);
    if (part == "..") {
      if (parts.empty()) return false;
      parts.pop_back();
      trailing = true;
    } else if (part == ".") {
      trailing = true;
    } else if (!part.empty()) {
      parts.push_back(part);
      trailing = false;
    }
    start = end + 1;
  }
  if (path.empty() || path.back() == '/') trailing = true;
  std::string out;
  for (const std::string& part : parts) out += (out.empty() ? "" : "/") + part;
  if (trailing && !out.empty()) out += "/";
  path = out;
  return true;
}

StaticFiles::Lookup StaticFiles::Resolve(const std::string& urlPath, std::string& file) const {
  if (root_.empty() || urlPath.empty() || urlPath[0] != '/') return Lookup::kNotFound;
  if (urlPath.find('\0') != std::string::npos) return Lookup::kRefused;
  std::string relative = urlPath.substr(1);
  if (!relative.empty() && relative[0] == '/') return Lookup::kRefused;  // an absolute path
  // "/icons/../index.html" stays inside: only a path that climbs above the
  // root after "." and ".." are applied is refused.
  if (!NormaliseRelativePath(relative)) return Lookup::kRefused;
  if (ClimbsUp(relative)) return Lookup::kRefused;
  if (relative.empty() || relative.back() == '/') relative += "index.html";
  return Canonical(root_ + "/" + relative, true, file);
}

bool StaticFiles::Inside(const std::string& canonical) const {
  return canonical == root_ || canonical.compare(0, root_.size() + 1, root_ + "/") == 0;
}

StaticFiles::Lookup StaticFiles::Canonical(const std::string& path, bool mayBeDirectory, std::string& file) const {
  std::string canonical;
  if (!Canonicalise(path, canonical)) return Lookup::kNotFound;
  if (!Inside(canonical)) return Lookup::kRefused;
  struct stat info {};
  if (stat(canonical.c_str(), &info) != 0) return Lookup::kNotFound;
  // The index is looked up like any file: it may be a link that leads out.
  if (S_ISDIR(info.st_mode) && mayBeDirectory) return Canonical(canonical + "/index.html", false, file);
  if (!S_ISREG(info.st_mode)) return Lookup::kNotFound;
  file = canonical;
  return Lookup::kFound;
}

const char* StaticFiles::ContentType(const std::string& file) {
  static const struct {
    const char* extension;
    const char* type;
  } kTypes[] = {
      {".html", "text/html; charset=utf-8"}, {".htm", "text/html; charset=utf-8"},
      {".js", "text/javascript; charset=utf-8"}, {".mjs", "text/javascript; charset=utf-8"},
      {".css", "text/css; charset=utf-8"}, {".json", "application/json"},
      {".svg", "image/svg+xml"}, {".png", "image/png"},
      {".gif", "image/gif"}, {".jpg", "image/jpeg"},
      {".jpeg", "image/jpeg"}, {".ico", "image/x-icon"},
      {".txt", "text/plain; charset=utf-8"}, {".map", "application/json"},
      {".woff2", "font/woff2"}, {".wasm", "application/wasm"},
  };
  for (const auto& entry : kTypes) {
    if (EndsWith(file, entry.extension)) return entry.type;
  }
  return "application/octet-stream";
}

bool ReadWholeFile(const std::string& path, std::string& content) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  if (in.bad()) return false;
  content = buffer.str();
  return true;
}

}  // namespace orvtool
