#include "companion/collect/collect.h"

#include "companion/collect/capture_builder.h"
#include "companion/collect/piece_reader.h"
#include "companion/shell/child_processes.h"
#include "companion/views/display_width.h"
#include "companion/views/number_text.h"

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/foundation/unicode_text.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tavrine {

namespace {

using Way = ChildEnd::Way;

// A host that prints three times what is kept of it does not mean well.
constexpr std::size_t kBabbling = 3;

std::vector<std::string> commandFor(const CollectRequest& request, const CollectHost& host) {
  if (host.destination.empty()) return {"sh", "-s"};
  // The rest is for the user's own configuration to say. "sh -s" means the same to any login shell.
  constexpr double kLongest = 3600;
  const int connectSeconds = static_cast<int>(std::clamp(request.seconds / 2, 1.0, kLongest));
  return {request.ssh,
          "-T",
          "-o",
          "BatchMode=yes",
          "-o",
          "ConnectTimeout=" + std::to_string(connectSeconds),
          "--",
          host.destination,
          "sh -s"};
}

std::string lastLine(std::string_view words) {
  std::string_view rest = trimmed(words);
  const std::size_t lineFeed = rest.rfind('\n');
  if (lineFeed != std::string_view::npos) rest.remove_prefix(lineFeed + 1);
  rest = trimmed(rest);
  constexpr std::size_t kMostBytes = 300;
  if (rest.size() <= kMostBytes) return repairedUTF8(rest);
  return repairedUTF8(rest.substr(0, kMostBytes)).append(kEllipsis);
}

std::string because(const std::string& what, std::string_view words) {
  const std::string line = lastLine(words);
  return line.empty() ? what : what + ": " + line;
}

// Why the output is not whole; empty when it is, be it that the connection was then held open.
// `words` are what was printed beside it: some shells complain there and not where others do. Where
// ssh itself has failed, they are a greeting.
std::string problemOf(const ChildEnd& end, const std::vector<Piece>& pieces, std::string_view words,
                      const std::string& program, double seconds) {
  if (!pieces.empty() && pieces.back().name == kLastPiece) return "";
  switch (end.way) {
    case Way::tooLate:
      return "no answer within " + upToOneDecimal(seconds) + " s";
    case Way::tooMuch:
      return "it printed more than it may";
    case Way::notStarted:
      return "cannot be asked: " + program + ": " + end.words;
    case Way::stopped:
      return "interrupted";
    case Way::signalled:
      return because("ended by signal " + std::to_string(end.status), end.words);
    case Way::exited:
      break;
  }
  const std::string status = std::to_string(end.status);
  if (!pieces.empty()) return because("it ended too early, with status " + status, end.words);
  constexpr int kFailureOfSSH = 255;
  const bool isOfShell = trimmed(end.words).empty() && end.status != kFailureOfSSH;
  return because("no answer, but status " + status,
                 isOfShell ? words : std::string_view(end.words));
}

// One host while it is being asked.
struct Inquiry {
  PieceReader reader;
  Capture capture;
};

}  // namespace

std::vector<Capture> collect(const CollectRequest& request,
                             const std::function<void(std::size_t ended)>& onHost,
                             const std::function<bool()>& mustStop) {
  const std::string word = makeWord();
  const std::string script = collectorScript(request.script, word);
  std::vector<Inquiry> inquiries;
  inquiries.reserve(request.hosts.size());
  std::vector<ChildTask> tasks;
  std::size_t ended = 0;
  for (const CollectHost& host : request.hosts) {
    inquiries.push_back(
        {PieceReader(word, request.mostBytesOfPiece, request.mostBytesOfHost), Capture{}});
    Inquiry& inquiry = inquiries.back();
    inquiry.capture.info.server = host.server;
    inquiry.capture.info.host = host.destination.empty() ? host.server : host.destination;
    std::vector<std::string> command = commandFor(request, host);
    const std::string program = command.front();
    tasks.push_back(
        {.command = std::move(command),
         .input = script,
         .seconds = request.seconds,
         .mostBytes = kBabbling * request.mostBytesOfHost,
         .onOutput = [&inquiry](std::string_view bytes) { inquiry.reader.feed(bytes); },
         .onEnd =
             [&, program, seconds = request.seconds](const ChildEnd& end) {
               std::vector<Piece> pieces = inquiry.reader.take();
               const std::string problem =
                   problemOf(end, pieces, inquiry.reader.wordsOutside(), program, seconds);
               CaptureInfo info = std::move(inquiry.capture.info);
               // JSON times carry whole seconds.
               info.takenAt = std::chrono::floor<std::chrono::seconds>(currentTime());
               inquiry.capture = captureOf(std::move(info), std::move(pieces), problem);
               onHost(++ended);
             }});
  }
  runChildren(tasks, request.atOnce, mustStop);
  std::vector<Capture> captures;
  captures.reserve(inquiries.size());
  for (Inquiry& inquiry : inquiries) captures.push_back(std::move(inquiry.capture));
  return captures;
}

std::string hostProblem(const std::string& host) {
  if (host.empty()) return "is empty";
  if (host.front() == '-') return "begins with -";
  // No ssh knows such a host: a shell has put the names of files in the place of their pattern.
  if (host.front() == '/') return "begins with /, as files do; a pattern of files needs quotes";
  if (!isWellFormedUTF8(host)) return "is not UTF-8";
  const bool isOneWord = std::none_of(host.begin(), host.end(), [](char c) {
    return static_cast<unsigned char>(c) <= 0x20 || c == 0x7F;
  });
  if (!isOneWord || trimmed(host) != host) return "holds blanks or control characters";
  return "";
}

}  // namespace tavrine
