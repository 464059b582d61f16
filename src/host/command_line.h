// The command line's conventions: options as "--name value" or "--name=value", short aliases,
// "--" before operands that start with a dash, and usage errors that say what to type instead.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tl::host {

struct OptionSpec {
  OptionSpec(std::string name, bool takesValue = true, std::string alias = {})
      : name(std::move(name)), takesValue(takesValue), alias(std::move(alias)) {}
  std::string name;  // "--db"
  bool takesValue;
  std::string alias;  // "-o", or empty
};

struct Arguments {
  std::map<std::string, std::string> options;  // by long name; flags map to ""
  std::vector<std::string> operands;
  bool help = false;  // -h or --help was given

  bool has(const std::string& name) const { return options.count(name) != 0; }
  std::optional<std::string> get(const std::string& name) const;
};

// Parses args against the options of command; throws CommandError (usage) naming an unknown
// option, a missing value or an option given twice.
Arguments ParseArguments(const std::string& command, const std::vector<std::string>& args,
                         const std::vector<OptionSpec>& known);

}  // namespace tl::host
