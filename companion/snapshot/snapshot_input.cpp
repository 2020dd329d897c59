#include "companion/snapshot/snapshot_input.h"

#include "companion/parse/likely_content.h"
#include "companion/redact/snapshot_redaction.h"
#include "companion/shell/input.h"
#include "companion/shell/output.h"
#include "companion/shell/usage.h"
#include "companion/views/quantity_text.h"

#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/store/snapshot_disk_store.h>

#include <CLI/CLI.hpp>

#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace tavrine {

std::string SnapshotInput::path() const {
  return file ? *file : SnapshotDiskStore::defaultURL().string();
}

std::string SnapshotInput::name() const { return inputName(path()); }

void addSnapshotInput(CLI::App& command, SnapshotInput& input, const std::string& verb) {
  command
      .add_option("FILE",
                  input.file,
                  "the snapshot; - is standard input, and the latest\n"
                  "one, ~/.tavrine/latest.json, is " +
                      verb + " if left out")
      ->type_name("");
  addRedactOption(command, input.isRedacted);
}

std::string readSnapshotDocument(const std::string& path) {
  try {
    return readInput(path);
  } catch (const std::system_error& error) {
    if (error.code() != std::errc::is_a_directory) throw;
    throw std::runtime_error(std::string(error.what()) +
                             "; of a folder of captures 'tavrine assemble' makes a snapshot");
  }
}

AppSnapshot readSnapshot(const SnapshotInput& input, Findings& findings) {
  std::error_code lookup;  // then reading says why
  if (!input.file && !std::filesystem::exists(input.path(), lookup) && !lookup) {
    throw std::runtime_error(
        "there is no latest snapshot, " + input.path() +
        "; 'tavrine refresh' makes one, and 'tavrine demo' shows a made-up lab");
  }
  const std::string document = readSnapshotDocument(input.path());
  try {
    auto snapshot = decode<AppSnapshot>(document, &findings);
    return input.isRedacted ? redacted(std::move(snapshot)) : snapshot;
  } catch (const DecodingError& error) {
    const std::string likely = likelyContent(document, "show");
    throw std::runtime_error("no snapshot in " + input.name() + ": " + error.what() +
                             (likely.empty() ? "" : "; " + likely));
  }
}

ExitStatus sayLosses(const SnapshotInput& input, const Findings& findings) {
  const std::size_t losses = findings.lossCount();
  if (losses == 0) return ExitStatus::fine;
  say(counted(losses, "loss", "losses") + " in " + input.name() +
      "; 'tavrine check' tells of what, and why");
  return ExitStatus::findings;
}

}  // namespace tavrine
