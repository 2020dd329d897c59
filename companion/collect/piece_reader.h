// Takes the output of the collector script apart while it comes in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// What stood between two marker lines.
struct Piece {
  std::string name;
  std::string text;                    ///< any bytes
  std::optional<std::int64_t> status;  ///< absent for one that has no end
  std::size_t bytes;                   ///< of which `text` holds the first
};

class PieceReader {
 public:
  /// Keeps `mostBytes` of each piece, and `mostInAll` of all together.
  PieceReader(std::string word, std::size_t mostBytes, std::size_t mostInAll)
      : word_(std::move(word)), mostBytes_(mostBytes), room_(mostInAll) {}

  /// The next bytes of the output, cut anywhere. Whatever stands outside of pieces, such as what a
  /// login shell says, is in none of them. Where lines come with a carriage return, as through a
  /// terminal, it is taken off.
  void feed(std::string_view bytes);

  /// What stood outside of pieces, as long as that is a few words and no flood.
  std::string_view wordsOutside() const;

  /// All pieces, with the one that has no end last. To be called once, at the end.
  std::vector<Piece> take();

 private:
  bool mayBeMarker(std::string_view line) const;
  void endLine();
  bool handleMarker(std::string_view line);
  void keep(std::string_view bytes);
  void close(std::optional<std::int64_t> status);

  std::string word_;
  std::string outside_;
  std::size_t mostBytes_;
  std::size_t room_;
  std::string line_;      // what has come of a line that may be a marker
  bool isPlain_ = false;  // the line is none, and what comes of it is kept at once
  bool isOpen_ = false;
  bool hasCarriageReturns_ = false;
  Piece piece_{};
  std::vector<Piece> pieces_;
};

}  // namespace tavrine
