#include "tools/common/Options.h"

#include <cmath>
#include <cstdlib>

namespace orvtool {

bool ParseNumber(const std::string& text, double min, double max, bool whole, double& number) {
  if (text.empty()) return false;
  char* end = nullptr;
  number = std::strtod(text.c_str(), &end);
  if (end == text.c_str() || *end != '\0') return false;
  if (!(number >= min && number <= max)) return false;  // NaN fails here too
  return !whole || std::floor(number) == number;
}

void OptionParser::Flag(const char* name, bool* target, const char* alias) {
  options_.push_back(Option{name, alias == nullptr ? "" : alias, Kind::kFlag, target, 0, 0, false, ""});
}

void OptionParser::Text(const char* name, std::string* target) {
  options_.push_back(Option{name, "", Kind::kText, target, 0, 0, false, ""});
}

void OptionParser::Number(const char* name, double min, double max, bool whole, const char* expects,
                          double* target) {
  options_.push_back(Option{name, "", Kind::kNumber, target, min, max, whole, expects});
}

const OptionParser::Option* OptionParser::Find(const std::string& arg) const {
  for (const Option& option : options_) {
    if (arg == option.name || (!option.alias.empty() && arg == option.alias)) return &option;
  }
  return nullptr;
}

bool OptionParser::SetValue(const Option& option, const std::string& value, std::string& error) {
  if (option.kind == Kind::kText) {
    *static_cast<std::string*>(option.target) = value;
    return true;
  }
  double number = 0;
  if (!ParseNumber(value, option.min, option.max, option.whole, number)) {
    error = option.name + " expects " + option.expects + ", got '" + value + "'";
    return false;
  }
  *static_cast<double*>(option.target) = number;
  return true;
}

bool OptionParser::Parse(int argc, char** argv, std::vector<std::string>& positional, std::string& error) const {
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--") {
      for (++i; i < argc; ++i) positional.push_back(argv[i]);
      break;
    }
    const Option* option = Find(arg);
    if (option == nullptr) {
      if (arg.rfind("--", 0) == 0 && arg.size() > 2 && positional.size() < unknownPositionalAfter_) {
        error = "unknown option " + arg;
        return false;
      }
      positional.push_back(arg);
      continue;
    }
    if (option->kind == Kind::kFlag) {
      *static_cast<bool*>(option->target) = true;
      continue;
    }
    if (i + 1 >= argc) {
      error = arg + " needs a value";
      return false;
    }
    if (!SetValue(*option, argv[++i], error)) return false;
  }
  return true;
}

std::string OptionParser::UsageError(const std::string& problem) const {
  return program_ + ": " + problem + "\n(see " + program_ + " --help)\n";
}

}  // namespace orvtool
