#include "companion/assemble/assemble_verb.h"

#include "companion/assemble/assemble.h"
#include "companion/assemble/assembly_output.h"
#include "companion/capture/capture_folder.h"
#include "companion/redact/snapshot_redaction.h"
#include "companion/shell/json_output.h"
#include "companion/snapshot/snapshot_input.h"

#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/store/snapshot_disk_store.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace tavrine {

namespace {

namespace fs = std::filesystem;

struct AssembleOptions {
  std::vector<std::string> captures;
  std::optional<std::string> previous;
  std::optional<std::string> output;
  bool findings = false;
  bool redact = false;
  JSONOptions json;
};

// Also one whose capture.json has been lost.
bool isCapture(const fs::path& folder) {
  std::error_code error;  // reading says why
  return fs::exists(folder / kCaptureInfoFile, error) ||
         std::any_of(kCommandFiles.begin(), kCommandFiles.end(), [&](const CommandFile& each) {
           return fs::exists(folder / each.file, error);
         });
}

// A folder of captures stands for them, in the order of their names. One that is hidden is only
// being written.
std::vector<fs::path> captureFolders(const std::string& name) {
  const fs::path folder(name);
  if (isCapture(folder)) return {folder};
  std::error_code error;
  if (fs::is_regular_file(folder, error)) {
    throw std::runtime_error(name + (folder.filename() == kCaptureInfoFile
                                         ? ": its folder is the capture"
                                         : ": no folder, as captures are; an archive must be "
                                           "unpacked"));
  }
  const fs::directory_iterator entries(folder, error);
  if (error) throw fs::filesystem_error("cannot read", folder, error);
  std::vector<fs::path> folders;
  for (const fs::directory_entry& entry : entries) {
    const bool isHidden = entry.path().filename().string().starts_with('.');
    if (!isHidden && entry.is_directory() && isCapture(entry.path())) {
      folders.push_back(entry.path());
    }
  }
  if (folders.empty()) throw std::runtime_error(name + ": no capture, and no folder of captures");
  std::sort(folders.begin(), folders.end());
  return folders;
}

std::vector<Capture> readCaptures(const std::vector<std::string>& names, FindingsBook& book) {
  std::vector<Capture> captures;
  for (const std::string& name : names) {
    for (const fs::path& folder : captureFolders(name)) {
      captures.push_back(readCapture(folder, book.open(folder.string())));
    }
  }
  return captures;
}

ExitStatus runAssemble(const AssembleOptions& options) {
  FindingsBook book;
  const std::vector<Capture> captures = readCaptures(options.captures, book);
  std::optional<AppSnapshot> previous;
  if (options.previous) {
    const SnapshotInput input{.file = options.previous};
    previous = readSnapshot(input, book.open(input.name()));
  }
  Assembly assembly = assemble(captures, previous ? &*previous : nullptr);
  if (options.redact) assembly.snapshot = redacted(std::move(assembly.snapshot));
  if (options.output) {
    SnapshotDiskStore::write(assembly.snapshot, *options.output);
  } else {
    writeJSON(encode(assembly.snapshot, options.json.style()));
  }
  book.append(std::move(assembly.findings));
  const bool isAnythingLost = tellLosses(book, options.findings, options.redact);
  return isAnythingLost ? ExitStatus::findings : ExitStatus::fine;
}

}  // namespace

void addAssembleVerb(CLI::App& program, Action& chosen) {
  CLI::App& app = addCommand(program,
                             "assemble",
                             "Makes a snapshot of captures.",
                             {"tavrine assemble captures/* | tavrine show -",
                              "tavrine assemble --output snapshot.json captures"});
  addToHelp(app, "Exit status: 0 nothing was lost, 1 something was, 2 no such capture.");
  const auto options = std::make_shared<AssembleOptions>();
  app.add_option("CAPTURE", options->captures, "folders of captures, or folders that hold some")
      ->type_name("")
      ->required();
  app.add_option("--previous",
                 options->previous,
                 "the snapshot before this one: since when alerts\n"
                 "and runs go on, and which GPUs there were")
      ->type_name("FILE");
  auto* const output =
      app.add_option("--output", options->output, "write the snapshot there")->type_name("FILE");
  for (CLI::Option* const json :
       addJSONOptions(app, options->json, "the snapshot as JSON, as is the default")) {
    output->excludes(json);
  }
  addRedactOption(app, options->redact);
  app.add_flag("--findings", options->findings, "tell what was lost and why, on standard error");
  app.callback([&chosen, options] { chosen = [options] { return runAssemble(*options); }; });
}

}  // namespace tavrine
