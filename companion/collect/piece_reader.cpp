#include "companion/collect/piece_reader.h"

#include <TavrineShared/parsers/text_rules.h>

#include <algorithm>
#include <utility>

namespace tavrine {

namespace {

// More than any marker needs.
constexpr std::size_t kLongestMarker = 200;
constexpr std::size_t kMostWordsOutside = 2000;

std::string withoutCarriageReturns(std::string_view text) {
  std::string kept;
  kept.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool endsLine = text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
    if (!endsLine) kept += text[i];
  }
  return kept;
}

}  // namespace

void PieceReader::feed(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t end = std::min(bytes.find('\n'), bytes.size());
    if (isPlain_) {
      keep(bytes.substr(0, end));
    } else {
      // One more than a marker has tells that it is none.
      const std::size_t looked = std::min(end, kLongestMarker + 1);
      line_.append(bytes.substr(0, looked));
      if (!mayBeMarker(line_)) {
        isPlain_ = true;
        keep(line_);
        keep(bytes.substr(looked, end - looked));
      }
    }
    if (end == bytes.size()) return;
    endLine();
    bytes.remove_prefix(end + 1);
  }
}

std::string_view PieceReader::wordsOutside() const {
  return outside_.size() > kMostWordsOutside ? std::string_view() : outside_;
}

std::vector<Piece> PieceReader::take() {
  if (!isPlain_) keep(line_);
  if (isOpen_) close(std::nullopt);
  return std::move(pieces_);
}

bool PieceReader::mayBeMarker(std::string_view line) const {
  if (line.size() > kLongestMarker) return false;
  const std::size_t shared = std::min(line.size(), word_.size());
  return line.substr(0, shared) == std::string_view(word_).substr(0, shared);
}

void PieceReader::endLine() {
  if (isPlain_ || !handleMarker(line_)) {
    if (!isPlain_) keep(line_);
    keep("\n");
  }
  line_.clear();
  isPlain_ = false;
}

// "WORD begin NAME" or "WORD end NAME STATUS".
bool PieceReader::handleMarker(std::string_view line) {
  const bool hasCarriageReturn = line.ends_with('\r');
  if (hasCarriageReturn) line.remove_suffix(1);
  if (takeWord(line) != word_) return false;
  const std::string_view verb = takeWord(line);
  const std::string_view name = takeWord(line);
  if (verb == "begin" && !name.empty()) {
    if (isOpen_) close(std::nullopt);
    piece_ = {};
    piece_.name = name;
    isOpen_ = true;
    hasCarriageReturns_ = hasCarriageReturn;
    return true;
  }
  const std::optional<std::int64_t> status = readInteger(takeWord(line));
  if (verb != "end" || !isOpen_ || name != piece_.name || !status) return false;
  close(status);
  return true;
}

void PieceReader::keep(std::string_view bytes) {
  if (!isOpen_) {
    outside_.append(bytes.substr(0, kMostWordsOutside + 1 - outside_.size()));
    return;
  }
  piece_.bytes += bytes.size();
  const std::size_t room = std::min(room_, mostBytes_ - std::min(mostBytes_, piece_.text.size()));
  const std::string_view kept = bytes.substr(0, room);
  piece_.text.append(kept);
  room_ -= kept.size();
}

void PieceReader::close(std::optional<std::int64_t> status) {
  piece_.status = status;
  // The line feed in front of the end's marker is the marker's.
  if (status && piece_.bytes > 0) {
    if (piece_.bytes == piece_.text.size()) piece_.text.pop_back();
    --piece_.bytes;
  }
  if (hasCarriageReturns_) {
    const std::size_t before = piece_.text.size();
    if (piece_.text.ends_with('\r')) piece_.text.pop_back();
    piece_.text = withoutCarriageReturns(piece_.text);
    piece_.bytes -= before - piece_.text.size();
  }
  pieces_.push_back(std::move(piece_));
  isOpen_ = false;
}

}  // namespace tavrine
