#include <TavrineShared/recorder/recorder_line_parser.h>

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/list_room.h>
#include <TavrineShared/foundation/text_position.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/field_table.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

namespace tavrine::RecorderLineParser {

namespace {

constexpr std::string_view kSnapshotPhase = "snapshot";

// The pieces of a text between its line feeds.
class PieceCursor {
 public:
  explicit PieceCursor(std::string_view text) : rest_(text.data()), end_(rest_ + text.size()) {}

  bool next() {
    if (rest_ == end_) return false;
    lineNumber_ += lineFeeds_ + 1;
    lineFeeds_ = 0;
    const char* stop = rest_;
    while (true) {
      const void* const found = std::memchr(stop, '\n', static_cast<std::size_t>(end_ - stop));
      if (found == nullptr) {
        piece_ = std::string_view(rest_, end_);
        rest_ = end_;
        return true;
      }
      stop = static_cast<const char*>(found);
      if (stop == rest_ || stop[-1] != '\r') break;
      ++lineFeeds_;
      ++stop;
    }
    piece_ = std::string_view(rest_, stop);
    rest_ = stop + 1;
    return true;
  }

  std::string_view piece() const { return piece_; }
  // From 1, as editors count: those behind a carriage return count, too.
  std::size_t lineNumber() const { return lineNumber_; }

 private:
  const char* rest_;
  const char* end_;
  std::string_view piece_;
  std::size_t lineNumber_ = 0;
  std::size_t lineFeeds_ = 0;  // inside the piece
};

// Reads one line after the other; what all have in common is kept from line to line.
class PointReader {
 public:
  explicit PointReader(Findings* findings) : findings_(findings) {
    context_.timeTexts = TimeTexts::none;
    context_.habits = &habits_;
    context_.findings = findings;
    context_.problem = findings != nullptr ? &problem_ : nullptr;
  }

  // False when the piece gives no point, which is then in any state.
  bool read(std::string_view piece, std::size_t lineNumber, RecorderLogPoint& point) {
    // The JSON reader finds ill-formed bytes itself. Only who tells of losses must know before, or
    // those of the repaired line would be told twice.
    bool isJSON = true;
    if (findings_ == nullptr || isWellFormedUTF8(piece)) {
      if (readWellFormed(piece, lineNumber, point, isJSON)) return true;
      if (isJSON || isWellFormedUTF8(piece)) return false;
      point = RecorderLogPoint{};
    }
    if (!readWellFormed(repairedUTF8(piece), lineNumber, point, isJSON)) return false;
    if (findings_ != nullptr) {
      findings_->add(FindingOutcome::repaired,
                     [&] { return finding(trimmed(piece), lineNumber, "ill-formed UTF-8"); });
    }
    return true;
  }

 private:
  bool readWellFormed(std::string_view piece, std::size_t lineNumber, RecorderLogPoint& point,
                      bool& isJSON) {
    const std::string_view line = trimmed(piece);
    if (!line.starts_with('{')) {
      if (findings_ != nullptr && !line.empty()) tellNoObject(line, lineNumber);
      return false;
    }
    context_.findingsLine = static_cast<std::int64_t>(lineNumber);
    JSONReader reader(line);
    const JSONResult result = decodeRecord(RecorderLogPoint::table(), reader, &point, context_);
    isJSON = reader.finish();
    if (isJSON && result == JSONResult::ok) return true;
    if (findings_ != nullptr) tellNoPoint(piece, line, lineNumber, reader, result);
    return false;
  }

  static Finding finding(std::string_view line, std::size_t lineNumber, std::string_view reason) {
    Finding finding{};
    finding.line = static_cast<std::int64_t>(lineNumber);
    finding.found = excerpt(line);
    finding.reason = reason;
    return finding;
  }

  void tellNoObject(std::string_view line, std::size_t lineNumber) {
    findings_->add(FindingOutcome::lineDropped,
                   [&] { return finding(line, lineNumber, "does not begin with {"); });
  }

  void tellNoPoint(std::string_view piece, std::string_view line, std::size_t lineNumber,
                   const JSONReader& reader, JSONResult result) {
    findings_->add(FindingOutcome::lineDropped, [&] {
      if (reader.failed()) {
        const auto start = static_cast<std::size_t>(line.data() - piece.data());
        const TextPosition place = textPosition(piece, start + reader.syntaxError()->offset);
        Finding told = finding(line,
                               lineNumber + place.line - 1,
                               "not JSON: " + std::string(reader.syntaxError()->reason));
        told.column = static_cast<std::int64_t>(place.column);
        // What follows looks like a line of its own to everyone who is not told.
        if (line.find("\r\n") != std::string_view::npos) told.reason += " (CR LF ends no line)";
        return told;
      }
      context_.tell(result, kValueType<RecorderLogPoint>, line);
      Finding told = finding(line, lineNumber, problem_.reason);
      told.path = problem_.path;
      // Elsewhere a time may be a text, and what fails says so.
      const bool isTime = told.path == RecorderLogPoint::table().fields.front().key;
      if (isTime && problem_.kind != DecodingError::Kind::keyNotFound) {
        told.reason = "expected a number of seconds";
      }
      return told;
    });
    // From here on losses are only counted, so none needs to be put into words.
    if (!findings_->hasRoom()) context_.problem = nullptr;
  }

  Findings* findings_;
  DecodeContext context_;
  DecodingProblem problem_;
  DocumentHabits habits_;  // of all lines, which one recorder wrote
};

bool isEarlier(const RecorderLogPoint& a, const RecorderLogPoint& b) { return a.t < b.t; }

// A recorder writes in the order of time, so there is seldom anything to do. Otherwise the places
// are sorted, and each point moves once, without room for a second list of points.
void sortByTime(std::vector<RecorderLogPoint>& points) {
  if (std::is_sorted(points.begin(), points.end(), isEarlier)) return;
  struct Place {
    Timestamp time;
    std::size_t from;
  };
  std::vector<Place> places;
  places.reserve(points.size());
  for (const RecorderLogPoint& point : points) places.push_back({point.t, places.size()});
  std::sort(places.begin(), places.end(), [](const Place& a, const Place& b) {
    return a.time != b.time ? a.time < b.time : a.from < b.from;
  });
  for (std::size_t start = 0; start < points.size(); ++start) {
    if (places[start].from == start) continue;
    RecorderLogPoint first = std::move(points[start]);
    std::size_t to = start;
    while (places[to].from != start) {
      const std::size_t from = std::exchange(places[to].from, to);
      points[to] = std::move(points[from]);
      to = from;
    }
    places[to].from = to;
    points[to] = std::move(first);
  }
}

}  // namespace

std::vector<RecorderLogPoint> parse(std::string_view text, Findings* findings) {
  std::vector<RecorderLogPoint> points;
  PointReader reader(findings);
  for (PieceCursor pieces(text); pieces.next();) {
    if (points.size() == points.capacity()) {
      makeRoom(points, static_cast<std::size_t>(pieces.piece().data() - text.data()), text.size());
    }
    if (!reader.read(pieces.piece(), pieces.lineNumber(), points.emplace_back())) points.pop_back();
  }
  sortByTime(points);
  return points;
}

std::optional<RecorderLogPoint> latestSnapshot(std::string_view text, Findings* findings) {
  const std::vector<RecorderLogPoint> points = parse(text, findings);
  const RecorderLogPoint* const newest = latestSnapshot(points);
  return newest == nullptr ? std::nullopt : std::optional(*newest);
}

const RecorderLogPoint* latestSnapshot(std::span<const RecorderLogPoint> points) {
  const auto newest =
      std::find_if(points.rbegin(), points.rend(), [](const RecorderLogPoint& point) {
        return point.phase == kSnapshotPhase;
      });
  return newest == points.rend() ? nullptr : &*newest;
}

std::optional<StackFrame> latestStack(std::string_view text, Findings* findings) {
  const std::vector<RecorderLogPoint> points = parse(text, findings);
  const StackFrame* const newest = latestStack(points);
  return newest == nullptr ? std::nullopt : std::optional(*newest);
}

const StackFrame* latestStack(std::span<const RecorderLogPoint> points) {
  const auto newest =
      std::find_if(points.rbegin(), points.rend(), [](const RecorderLogPoint& point) {
        return point.pySpy && !point.pySpy->empty();
      });
  return newest == points.rend() ? nullptr : &newest->pySpy->front();
}

}  // namespace tavrine::RecorderLineParser
