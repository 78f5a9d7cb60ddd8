// The command-line option parser of orv-host and of orv-host serve: one set
// of rules for both, so that a value, a number range or an unknown option is
// read and reported the same way everywhere.
//
// Options start with "--" and take their value from the next argument
// ("--port 8080"); flags take none. Anything else is positional. "--" ends
// the options: every argument after it is positional.
#ifndef TOOLS_COMMON_OPTIONS_H_
#define TOOLS_COMMON_OPTIONS_H_

#include <cstddef>
#include <string>
#include <vector>

namespace orvtool {

class OptionParser {
 public:
  // `program` starts every message ("orv-host", "orv-host serve").
  explicit OptionParser(std::string program) : program_(std::move(program)) {}

  // A flag: `*target` becomes true when `name` (or `alias`, if given) is
  // present. The targets are not owned and must outlive Parse.
  void Flag(const char* name, bool* target, const char* alias = nullptr);
  // An option with a text value.
  void Text(const char* name, std::string* target);
  // An option with a number value from `min` to `max` (whole numbers only
  // when `whole`); `expects` completes the message of a bad value:
  // "<name> expects <expects>, got '<value>'".
  void Number(const char* name, double min, double max, bool whole, const char* expects, double* target);

  // Once this many positional arguments are read, an argument that starts
  // with "--" but names no option is positional rather than an error (an
  // agent's parameters after MODEL AGENT). Default: it is always an error.
  void UnknownArePositionalAfter(std::size_t positionalCount) { unknownPositionalAfter_ = positionalCount; }

  // Reads argv[1..argc) into the targets and `positional`. False, with the
  // problem in `error` (without the program name), on an unknown option, a
  // missing value or a bad number; the targets are then partly set.
  bool Parse(int argc, char** argv, std::vector<std::string>& positional, std::string& error) const;

  // The usage error text: "<program>: <problem>\n(see <program> --help)\n".
  std::string UsageError(const std::string& problem) const;

 private:
  enum class Kind { kFlag, kText, kNumber };
  struct Option {
    std::string name, alias;
    Kind kind;
    void* target;
    double min = 0, max = 0;
    bool whole = false;
    std::string expects;
  };
  const Option* Find(const std::string& arg) const;
  static bool SetValue(const Option& option, const std::string& value, std::string& error);

  std::string program_;
  std::vector<Option> options_;
  std::size_t unknownPositionalAfter_ = static_cast<std::size_t>(-1);
};

// Reads `text` as a number from `min` to `max` (a whole one when `whole`);
// false when it is anything else (empty, trailing bytes, NaN, out of range).
bool ParseNumber(const std::string& text, double min, double max, bool whole, double& number);

}  // namespace orvtool

#endif  // TOOLS_COMMON_OPTIONS_H_
