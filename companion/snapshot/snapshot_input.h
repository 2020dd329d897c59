// How verbs read the snapshot that the user named.
#pragma once

#include "companion/shell/exit_status.h"

#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/findings.h>

#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace tavrine {

struct SnapshotInput {
  std::optional<std::string> file;  ///< the store's if none is named
  bool isRedacted = false;

  std::string path() const;
  /// What messages call it.
  std::string name() const;
};

/// Adds FILE and `--redact`; `verb` is what is done with the snapshot, such as "shown".
void addSnapshotInput(CLI::App& command, SnapshotInput& input, const std::string& verb);

/// All that the file holds, or standard input. Throws where it cannot be read.
std::string readSnapshotDocument(const std::string& path);

/// Throws where it cannot be read or is no snapshot, with words that name it.
AppSnapshot readSnapshot(const SnapshotInput& input, Findings& findings);

/// Says what was lost in reading, if anything was.
ExitStatus sayLosses(const SnapshotInput& input, const Findings& findings);

}  // namespace tavrine
