// JSON documents and near-documents, made up by chance and yet the same on every machine.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tavrine::fuzz {

enum class Family : std::uint8_t {
  mutations,    ///< of server lists as our encoder writes them, and of odd small documents
  tokenSoup,    ///< by the grammar with odd pieces, and pieces without any grammar
  deepNesting,  ///< up to a million levels
};

inline constexpr std::array<const char*, 3> kFamilyNames = {
    "mutations", "token soup", "deep nesting"};

class DocumentMaker {
 public:
  explicit DocumentMaker(std::uint64_t seed);

  struct Document {
    Family family;
    std::string text;
  };
  /// Each seed has documents of its own without end. Of ten in a row, five are mutations, four are
  /// token soup and one is deeply nested.
  Document document(std::size_t index) const;

 private:
  std::vector<std::string> bases_;  ///< what is mutated
  std::uint64_t streams_;           ///< where the generators of the documents start
};

}  // namespace tavrine::fuzz
