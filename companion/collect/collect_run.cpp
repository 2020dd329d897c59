#include "companion/collect/collect_run.h"

#include "companion/capture/capture_folder.h"
#include "companion/redact/capture_redaction.h"
#include "companion/shell/interruption.h"
#include "companion/shell/output.h"

#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <utility>

namespace tavrine {

namespace {

// One line that is written over and over, and gone in the end.
class ProgressLine {
 public:
  explicit ProgressLine(std::size_t all) : all_(all), isShown_(::isatty(STDERR_FILENO) == 1) {
    show(0);
  }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine() {
    if (isShown_) writeWords("\r\x1b[K");
  }

  void show(std::size_t ended) const {
    if (!isShown_) return;
    writeWords("\r" + std::to_string(ended) + " of " + std::to_string(all_) + " hosts ");
  }

 private:
  std::size_t all_;
  bool isShown_;
};

// A folder that cannot be written costs none of the others, nor the snapshot.
void keepTold(const Capture& capture, const std::string& parent, Collected& collected) {
  const std::filesystem::path folder = captureFolder(parent, capture.info.server);
  try {
    writeCapture(capture, folder);
    collected.kept.push_back(folder);
  } catch (const std::filesystem::filesystem_error& error) {
    say(error);
    collected.isWhole = false;
  }
}

}  // namespace

Collected collectTold(const CollectRequest& request, const CollectOptions& options) {
  Collected collected;
  {
    const ProgressLine progress(request.hosts.size());
    collected.captures = collect(
        request,
        [&progress](std::size_t ended) { progress.show(ended); },
        isInterrupted);
  }
  if (isInterrupted()) {
    // What was asked in part must not take the place of what was asked in full.
    say("interrupted");
    return {};
  }
  for (Capture& capture : collected.captures) {
    if (options.redact) capture = redacted(std::move(capture));
    if (capture.info.problem) {
      say(capture.info.server + ": " + *capture.info.problem);
      collected.isWhole = false;
    }
    for (const CommandResult& result : capture.info.commands) {
      const std::string lost = shortfall(result);
      if (!lost.empty()) say(capture.info.server + ": " + result.command + ": " + lost);
    }
    if (options.captures) keepTold(capture, *options.captures, collected);
  }
  return collected;
}

}  // namespace tavrine
