// Any bytes as what a host sends. What must hold: how they are cut on the way makes no difference,
// and no more is kept than may be. The first two bytes say how they are cut and how much that is.
#include "companion/collect/piece_reader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "fuzz/require.h"

namespace {

std::vector<tavrine::Piece> readInBlocks(std::string_view output, std::size_t blockSize,
                                         std::size_t mostBytes, std::size_t mostInAll) {
  tavrine::PieceReader reader("W0RD", mostBytes, mostInAll);
  while (!output.empty()) {
    const std::size_t length = std::min(blockSize, output.size());
    reader.feed(output.substr(0, length));
    output.remove_prefix(length);
  }
  return reader.take();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tavrine;
  using namespace tavrine::fuzz;
  if (size < 2) return 0;
  const std::size_t blockSize = data[0] + std::size_t{1};
  const std::size_t mostBytes = data[1];
  const std::size_t mostInAll = 2 * mostBytes;
  const std::string_view output(reinterpret_cast<const char*>(data) + 2, size - 2);

  const std::vector<Piece> whole = readInBlocks(output, size, mostBytes, mostInAll);
  const std::vector<Piece> pieces = readInBlocks(output, blockSize, mostBytes, mostInAll);
  require(pieces.size() == whole.size(), "the same pieces, however the output is cut");
  std::size_t kept = 0;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    const Piece& piece = pieces[i];
    require(piece.name == whole[i].name && piece.text == whole[i].text &&
                piece.status == whole[i].status && piece.bytes == whole[i].bytes,
            "the same in each, however the output is cut");
    require(piece.text.size() <= mostBytes && piece.text.size() <= piece.bytes,
            "no more is kept of a piece than may be");
    kept += piece.text.size();
  }
  require(kept <= mostInAll, "no more is kept of all than may be");
  return 0;
}
