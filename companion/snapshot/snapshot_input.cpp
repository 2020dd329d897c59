#include "companion/snapshot/snapshot_input.h"

#include "companion/redact/redaction.h"
#include "companion/shell/input.h"
#include "companion/shell/output.h"

#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/store/snapshot_disk_store.h>

#include <CLI/CLI.hpp>

#include <cstddef>
#include <filesystem>
#include <stdexcept>

namespace tavrine {

std::string SnapshotInput::path() const {
  return file ? *file : SnapshotDiskStore::defaultURL().string();
}

std::string SnapshotInput::name() const {
  const std::string named = path();
  return named == kStandardInput ? "standard input" : named;
}

void addSnapshotInput(CLI::App& command, SnapshotInput& input, const std::string& verb) {
  command
      .add_option("FILE",
                  input.file,
                  "the snapshot; - is standard input, and the latest\n"
                  "one, ~/.tavrine/latest.json, is " +
                      verb + " if left out")
      ->type_name("");
  command.add_flag("--redact",
                   input.isRedacted,
                   "without the passwords, tokens and keys that stand\n"
                   "in command lines and other texts");
}

AppSnapshot readSnapshot(const SnapshotInput& input, Findings& findings) {
  if (!input.file && !std::filesystem::exists(input.path())) {
    throw std::runtime_error(
        "there is no latest snapshot, " + input.path() +
        "; 'tavrine refresh' makes one, and 'tavrine demo' shows a made-up lab");
  }
  const std::string document = readInput(input.path());
  try {
    auto snapshot = decode<AppSnapshot>(document, &findings);
    return input.isRedacted ? redacted(std::move(snapshot)) : snapshot;
  } catch (const DecodingError& error) {
    throw std::runtime_error("no snapshot in " + input.name() + ": " + error.what());
  }
}

ExitStatus sayLosses(const SnapshotInput& input, const Findings& findings) {
  const std::size_t losses = findings.lossCount();
  if (losses == 0) return ExitStatus::fine;
  say(std::to_string(losses) + (losses == 1 ? " loss" : " losses") + " in " + input.name() +
      "; 'tavrine check' tells of what, and why");
  return ExitStatus::findings;
}

}  // namespace tavrine
