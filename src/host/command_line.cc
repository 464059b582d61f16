// The command line's option parsing.
#include "host/command_line.h"

#include "host/exit_codes.h"

namespace tl::host {

std::optional<std::string> Arguments::get(const std::string& name) const {
  auto it = options.find(name);
  if (it == options.end()) return std::nullopt;
  return it->second;
}

Arguments ParseArguments(const std::string& command, const std::vector<std::string>& args,
                         const std::vector<OptionSpec>& known) {
  auto usage = [&](const std::string& what) {
    return CommandError(kExitUsage, what + " (see tallyd " + command + " --help)");
  };
  Arguments parsed;
  bool operandsOnly = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (operandsOnly || a == "-" || !a.starts_with("-")) {
      parsed.operands.push_back(a);
      continue;
    }
    if (a == "--") {
      operandsOnly = true;
      continue;
    }
    if (a == "-h" || a == "--help") {
      parsed.help = true;
      continue;
    }
    const size_t equals = a.find('=');
    const std::string name = a.substr(0, equals);
    const OptionSpec* option = nullptr;
    for (const OptionSpec& s : known) {
      if (s.name == name || (!s.alias.empty() && s.alias == name)) option = &s;
    }
    if (!option) throw usage("unknown option " + name);
    if (parsed.has(option->name)) throw usage(option->name + " is given twice");
    if (!option->takesValue) {
      if (equals != std::string::npos) throw usage(option->name + " takes no value");
      parsed.options[option->name] = "";
    } else if (equals != std::string::npos) {
      parsed.options[option->name] = a.substr(equals + 1);
    } else if (i + 1 < args.size()) {
      parsed.options[option->name] = args[++i];
    } else {
      throw usage(option->name + " needs a value");
    }
  }
  return parsed;
}

}  // namespace tl::host
