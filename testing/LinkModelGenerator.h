// Generated models rich in links, as model-file text, for tests and
// benchmarks of the link collection and the SVG annotation.
//
// Header-only (the benchmarks link the module code and the emulator, not
// orv_testing). NOT FOR PRODUCTION CODE.
//
// What a model holds, for sizes B (blocks), R (requirements), T (test
// cases), H (hyperlinks), E (external-reference dependencies):
//   PKG-R   R requirements REQ-i
//   PKG-B   B blocks BLK-i, each with a dependency SAT-i in its
//           ClientDependency to REQ-(i mod R): "satisfy" mostly, sometimes
//           plain (not a link), sometimes held for another block
//           (NonOwningClient), sometimes parked on the placeholder
//           "@Predefined@ExternalObject"
//   PKG-T   T test cases TC-i, each with a "verify" dependency VER-i
//   PKG-E   E dependencies EXT-k with externalObjectReference tags of every
//           kind: a reference that repeats the Supplier (found twice), an
//           unresolved one, one parked on the placeholder with and without
//           a target, "vorn:qm:" alone, a "vorn:" URL that is not a model
//           reference, and every tenth applied twice
//   PKG-N   notes NOTE-j (not definitions) that carry hyperlinks too
//   hyperlinks spread over blocks, requirements, test cases and notes, in
//           every URL form ("vorn:qm:G", "vorn:a:b:G", "vorn:G", a missing
//           element, "https:", "vorn:x:", no URL at all), some twice on the
//           same element, names with quotes and "--"
//   DIA     a diagram with a frame, S symbols (blocks, then requirements,
//           then the placeholder) and L lines (the SAT, then the EXT
//           dependencies)
#ifndef TESTING_LINKMODELGENERATOR_H_
#define TESTING_LINKMODELGENERATOR_H_

#include <algorithm>
#include <string>

namespace orvtest {

struct LinkModelShape {
  int blocks = 40;
  int requirements = 40;
  int testCases = 10;
  int hyperlinks = 70;
  int externalReferences = 30;
  int symbols = 40;
  int lines = 40;
};

// The shape of the large model of the annotation benchmark, scaled: at
// scale 1, 4,000 blocks, 4,000 requirements, 1,000 test cases, 7,000
// hyperlinks, 500 external references, 4,000 symbols and 4,000 lines.
inline LinkModelShape LargeLinkModelShape(double scale) {
  auto n = [scale](int full) { return std::max(1, static_cast<int>(full * scale)); };
  LinkModelShape shape;
  shape.blocks = n(4000);
  shape.requirements = n(4000);
  shape.testCases = n(1000);
  shape.hyperlinks = n(7000);
  shape.externalReferences = n(500);
  shape.symbols = n(4000);
  shape.lines = n(4000);
  return shape;
}

namespace linkmodel {

inline std::string Quoted(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}

inline std::string Id(const char* prefix, int i) { return std::string(prefix) + std::to_string(i); }

// Comma-joined items.
class Items {
 public:
  void Add(const std::string& item) {
    if (!text_.empty()) text_ += ",\n";
    text_ += item;
  }
  const std::string& Text() const { return text_; }

 private:
  std::string text_;
};

inline std::string Entity(const std::string& guid, const std::string& meta, const std::string& name,
                          const std::string& rest = "") {
  std::string e = "{\"guid\": " + Quoted(guid) + ", \"meta\": " + Quoted(meta);
  if (!name.empty()) e += ", \"name\": " + Quoted(name);
  return e + rest + "}";
}

inline std::string Apply(const std::string& stereotype, const std::string& tags = "") {
  return "{\"apply\": " + Quoted(stereotype) + (tags.empty() ? "" : ", \"tags\": {" + tags + "}") + "}";
}

inline std::string Tag(const std::string& name, const std::string& value) { return Quoted(name) + ": " + Quoted(value); }

// The hyperlink applications of one element.
inline std::string Hyperlink(int h, const LinkModelShape& s) {
  const std::string name = h % 5 == 0 ? "say \"hi\" -- " + std::to_string(h) : "link " + std::to_string(h);
  std::string url;
  switch (h % 8) {
    case 0: url = "vorn:qm:" + Id("REQ-", (h * 7) % s.requirements); break;
    case 1: url = "vorn:a:b:" + Id("BLK-", (h * 3) % s.blocks); break;
    case 2: url = "vorn:" + Id("BLK-", (h * 5) % s.blocks); break;
    case 3: url = "vorn:qm:" + Id("MISSING-", h); break;
    case 4: url = "https://example.org/" + std::to_string(h); break;
    case 5: url = "vorn:x:"; break;
    case 6: return Apply("@VELLinks@HYPERLINK", Tag("name", name));
    default: url = "vorn:qm:" + Id("TC-", h % s.testCases); break;
  }
  std::string one = Apply("@VELLinks@HYPERLINK", Tag("URL", url) + ", " + Tag("name", name));
  return h % 9 == 0 ? one + ", " + one : one;  // the same link twice on one element
}

}  // namespace linkmodel

// The model text (see the top of this file); the diagram's GUID is "DIA".
inline std::string GenerateLinkModel(const LinkModelShape& s) {
  using namespace linkmodel;
  const int notes = std::max(1, s.hyperlinks / 20);
  const int carriers = s.blocks + s.requirements + s.testCases + notes;
  // Hyperlink h sits on carrier h mod carriers, in that order of kinds.
  auto hyperlinksOf = [&](int carrier) {
    Items items;
    for (int h = carrier; h < s.hyperlinks; h += carriers) items.Add(Hyperlink(h, s));
    return items.Text();
  };
  auto withStereotypes = [](const std::string& applications) {
    return applications.empty() ? std::string() : ", \"stereotypes\": [" + applications + "]";
  };

  Items requirements;
  for (int i = 0; i < s.requirements; ++i) {
    requirements.Add(Entity(Id("REQ-", i), "Requirement", "Req " + std::to_string(i),
                            withStereotypes(hyperlinksOf(s.blocks + i))));
  }

  Items blocks;
  for (int i = 0; i < s.blocks; ++i) {
    std::string refs = "\"Supplier\": " + Quoted(i % 17 == 2 ? "@Predefined@ExternalObject" : Id("REQ-", i % s.requirements));
    if (i % 13 == 5) refs += ", \"NonOwningClient\": " + Quoted(Id("BLK-", (i + 1) % s.blocks));
    Items applications;
    if (i % 7 != 3) applications.Add(Apply("@Predefined@satisfy"));
    if (i % 17 == 2) {
      applications.Add(Apply("@Predefined@externalObjectReference",
                             Tag("target", "vorn:qm:" + Id("REQ-", (i + 1) % s.requirements))));
    }
    const std::string dependency = Entity(Id("SAT-", i), "Dependency", "",
                                          ", \"in\": \"ClientDependency\", \"refs\": {" + refs + "}" +
                                              withStereotypes(applications.Text()));
    blocks.Add(Entity(Id("BLK-", i), "Block", "Block " + std::to_string(i),
                      ", \"children\": [" + dependency + "]" + withStereotypes(hyperlinksOf(i))));
  }

  Items testCases;
  for (int i = 0; i < s.testCases; ++i) {
    const std::string dependency =
        Entity(Id("VER-", i), "Dependency", "",
               ", \"in\": \"ClientDependency\", \"refs\": {\"Supplier\": " +
                   Quoted(Id("REQ-", (i * 5) % s.requirements)) + "}, \"stereotypes\": [" +
                   Apply("@Predefined@verify") + "]");
    testCases.Add(Entity(Id("TC-", i), "TestCase", "Test " + std::to_string(i),
                         ", \"children\": [" + dependency + "]" +
                             withStereotypes(hyperlinksOf(s.blocks + s.requirements + i))));
  }

  Items externals;
  for (int k = 0; k < s.externalReferences; ++k) {
    const std::string block = Id("BLK-", k % s.blocks), next = Id("BLK-", (k + 1) % s.blocks);
    const std::string requirement = Id("REQ-", (k * 3) % s.requirements);
    std::string supplier = requirement, tags;
    switch (k % 6) {
      case 0: tags = Tag("source", "vorn:qm:" + block) + ", " + Tag("target", "vorn:qm:" + requirement); break;
      case 1: tags = Tag("source", "vorn:qm:" + block) + ", " + Tag("target", "vorn:qm:" + Id("NOPE-", k)); break;
      case 2: supplier = "@Predefined@ExternalObject"; tags = Tag("source", "vorn:qm:" + block); break;
      case 3:
        supplier = "@Predefined@ExternalObject";
        tags = Tag("target", "vorn:qm:" + Id("TC-", k % s.testCases));
        break;
      case 4: tags = Tag("source", "vorn:qm:") + ", " + Tag("target", "vorn:qm:" + next); break;
      default: tags = Tag("source", "vorn:qm:" + requirement) + ", " + Tag("target", "vorn:x:" + next); break;
    }
    std::string applications = k % 3 == 0 ? "" : Apply("@Predefined@trace") + ", ";
    applications += Apply("@Predefined@externalObjectReference", tags);
    if (k % 10 == 7) applications += ", " + Apply("@Predefined@externalObjectReference", tags);
    externals.Add(Entity(Id("EXT-", k), "Dependency", "",
                         ", \"refs\": {\"Supplier\": " + Quoted(supplier) + "}, \"stereotypes\": [" + applications +
                             "]"));
  }

  Items noteItems;
  for (int j = 0; j < notes; ++j) {
    noteItems.Add(Entity(Id("NOTE-", j), "Comment", "",
                         withStereotypes(hyperlinksOf(s.blocks + s.requirements + s.testCases + j))));
  }

  Items diagram;
  diagram.Add(Entity("FRAME", "FrameSymbol", "",
                     ", \"values\": {\"Position\": \"0 0\", \"Size\": \"30000 30000\"}, "
                     "\"refs\": {\"ModelElement\": \"ROOT\", \"Diagram\": \"DIA\"}"));
  for (int i = 0; i < s.symbols; ++i) {
    std::string shown = i < s.blocks ? Id("BLK-", i) : Id("REQ-", (i - s.blocks) % s.requirements);
    if (i + 1 == s.symbols) shown = "@Predefined@ExternalObject";
    const int x = (i % 50) * 300, y = (i / 50) * 300;
    diagram.Add(Entity(Id("S-", i), "Symbol", "",
                       ", \"values\": {\"Position\": \"" + std::to_string(x) + " " + std::to_string(y) +
                           "\", \"Size\": \"200 100\"}, \"refs\": {\"ModelElement\": " + Quoted(shown) +
                           ", \"Diagram\": \"DIA\"}"));
  }
  for (int i = 0; i < s.lines; ++i) {
    const std::string shown = i < s.blocks ? Id("SAT-", i) : Id("EXT-", (i - s.blocks) % std::max(1, s.externalReferences));
    const int x = (i % 50) * 300 + 100, y = (i / 50) * 300 + 100;
    diagram.Add(Entity(Id("L-", i), "Line", "",
                       ", \"values\": {\"SegmentPoints\": \"" + std::to_string(x) + " " + std::to_string(y) + " " +
                           std::to_string(x) + " " + std::to_string(y + 200) + "\"}, \"refs\": {\"ModelElement\": " +
                           Quoted(shown) + ", \"Diagram\": \"DIA\"}"));
  }

  auto package = [](const char* guid, const std::string& children) {
    return Entity(guid, "Package", guid, ", \"children\": [" + children + "]");
  };
  Items top;
  top.Add(package("PKG-R", requirements.Text()));
  top.Add(package("PKG-B", blocks.Text()));
  top.Add(package("PKG-T", testCases.Text()));
  if (s.externalReferences > 0) top.Add(package("PKG-E", externals.Text()));
  top.Add(package("PKG-N", noteItems.Text()));
  top.Add(Entity("DIA", "Diagram", "Links", ", \"children\": [" + diagram.Text() + "]"));
  return "{\"root\": {\"guid\": \"ROOT\", \"name\": \"Generated\", \"children\": [\n" + top.Text() + "]}}\n";
}

}  // namespace orvtest

#endif  // TESTING_LINKMODELGENERATOR_H_
