// The options of the verbs that ask hosts, on the command line and in the configuration file.
#pragma once

#include "companion/collect/collect.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

namespace tavrine {

struct CollectOptions {
  std::vector<std::string> hosts;  ///< as the user names them; this machine when there are none
  CollectRequest request;          ///< all but its hosts
  std::optional<std::string> captures;  ///< folder to keep captures in
  bool redact = false;                  ///< take secrets out of what hosts print
  std::optional<std::string> config;    ///< file, when the user names one
  bool findings = false;                ///< tell all that was lost

  /// What is to be asked. Throws `std::runtime_error` for a host that cannot be.
  CollectRequest resolved() const;
};

/// Adds the arguments and options to a command.
void addCollectOptions(CLI::App& command, CollectOptions& options);

/// Takes from the configuration file what the command line has not set: TOML, under the long names
/// of the options, with `hosts` for the arguments. All verbs share the file, so settings that only
/// another one has are passed over. A file that the user did not name need not be there. Throws
/// `std::runtime_error`, with file and line, for one that makes no sense.
void applyConfig(CLI::App& command, const CollectOptions& options);

/// `tavrine/config.toml` in XDG_CONFIG_HOME, or else in the user's `.config`.
std::filesystem::path defaultConfigFile();

}  // namespace tavrine
