// The server's static files: the browser client under one web root. A file
// is served only when its canonical path lies inside the canonical root, so
// "..", absolute paths and symbolic links that lead out of the root are all
// refused.
#ifndef TOOLS_SERVE_STATICFILES_H_
#define TOOLS_SERVE_STATICFILES_H_

#include <string>

namespace orvtool {

class StaticFiles {
 public:
  enum class Lookup {
    kFound,     // `file` is a regular file inside the root
    kNotFound,  // no such file (or not a regular file)
    kRefused,   // the path tries to leave the root
  };

  // Canonicalises `root` once. False, with the reason in `error`, when it is
  // no directory; the object then finds nothing.
  bool Open(const std::string& root, std::string& error);
  const std::string& root() const { return root_; }

  // Maps a URL path, already percent-decoded ("/", "/app.js",
  // "/img/a.png"), to a file under the root. A path ending in "/" and a
  // directory mean its "index.html". Fills `file` with the canonical path
  // when kFound.
  Lookup Resolve(const std::string& urlPath, std::string& file) const;

  // The media type for a file name, by its extension;
  // "application/octet-stream" when unknown.
  static const char* ContentType(const std::string& file);

 private:
  bool Inside(const std::string& canonical) const;
  Lookup Canonical(const std::string& path, bool mayBeDirectory, std::string& file) const;

  std::string root_;  // canonical, without a trailing "/"; empty = not open
};

// Applies "." and ".." segments of a relative URL path ("a/../b" -> "b",
// "a/./" -> "a/"), dropping empty segments; a path that ends in a
// directory keeps its "/". False when ".." climbs above the start.
bool NormaliseRelativePath(std::string& path);

// Reads a whole file. False when it cannot be read.
bool ReadWholeFile(const std::string& path, std::string& content);

}  // namespace orvtool

#endif  // TOOLS_SERVE_STATICFILES_H_
