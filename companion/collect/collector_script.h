// The one script that is run on every host: it prints all that a capture holds.
//
// It is for any POSIX shell and needs nothing on the host. Each piece of output stands between two
// lines of its own, which carry a word that nobody on the host can guess, so that nothing in a log
// or in the name of a process can pass for one:
//
//   WORD begin gpus
//   ... what the command printed ...
//   WORD end gpus 0
//
// The line feed in front of the last line belongs to it. What stands outside of pieces means
// nothing.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

struct CollectorOptions {
  std::vector<std::string> trainingLogs;    ///< patterns of paths, such as /scratch/*/train.log
  std::vector<std::string> recorderLogs;    ///< likewise
  std::optional<std::string> agentCommand;  ///< prints an object of reports
  std::optional<std::string> agentFolder;   ///< holds reports as NAME.json
  std::vector<std::string> disks = {"/"};   ///< folders whose file systems are looked at
  int commandSeconds = 10;                  ///< that any one command may take
};

/// The parts of a log's or a report's piece, in this order: "path", "age" and "text"; and of a kind
/// "left-out", the number of files beyond the most that are sent, where there are such.
inline constexpr std::string_view kTrainingLogPiece = "training-log";
inline constexpr std::string_view kRecorderLogPiece = "recorder-log";
inline constexpr std::string_view kAgentFilePiece = "agent-file";
inline constexpr std::string_view kAgentCommandPiece = "agent-command";
inline constexpr std::string_view kLastPiece = "done";

/// Files of one of these kinds that a host sends at most.
inline constexpr std::size_t kMostFilesOfKind = 64;

/// A word of 128 random bits.
std::string makeWord();

/// Ends with the piece `kLastPiece`, without which something was lost on the way. A leading "~/" of
/// a pattern or a folder is the user's home on the host.
std::string collectorScript(const CollectorOptions& options, std::string_view word);

}  // namespace tavrine
