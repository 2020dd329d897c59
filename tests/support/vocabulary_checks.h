// What must hold for every closed vocabulary, checked against a table of its cases.
#pragma once

#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/model/vocabulary.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace tavrine {

/// A case with the name that C++ has for it, and its texts.
template <class V>
struct CaseRow {
  V value;
  std::string_view caseName;
  std::string_view rawValue;
  std::string_view title;
};

/// The rows are all cases of V, in order, and no other text stands for any of them.
template <class V>
void expectTheTable(const std::vector<CaseRow<V>>& table) {
  ASSERT_EQ(V::allCases().size(), table.size());
  std::unordered_set<std::size_t> hashes;
  for (std::size_t i = 0; i < table.size(); ++i) {
    const CaseRow<V>& row = table[i];
    SCOPED_TRACE(row.caseName);
    const V value = row.value;
    EXPECT_EQ(V::allCases()[i], value);
    // The entries stand at the places that the cases number.
    EXPECT_EQ(row.value.index(), i);
    EXPECT_EQ(value.rawValue(), row.rawValue);
    EXPECT_EQ(value.title(), row.title);
    EXPECT_EQ(V::fromRawValue(row.rawValue), value);
    EXPECT_EQ(encode(value), '"' + std::string(row.rawValue) + '"');
    EXPECT_EQ(decode<V>(encode(value)), value);
    hashes.insert(std::hash<V>()(value));

    EXPECT_FALSE(V::fromRawValue(row.title)) << "titles stand for no case";
    EXPECT_EQ(V::fromRawValue(row.caseName).has_value(), row.caseName == row.rawValue);
    std::string upperCase;
    for (const char c : row.rawValue)
      upperCase += c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
    EXPECT_FALSE(V::fromRawValue(upperCase));
    EXPECT_FALSE(V::fromRawValue(" " + std::string(row.rawValue)));
    EXPECT_FALSE(V::fromRawValue(std::string(row.rawValue) + " "));
    EXPECT_FALSE(V::fromRawValue(row.rawValue.substr(1)));
  }
  EXPECT_EQ(hashes.size(), table.size());
  for (const std::string_view text : {"", "paused", "null", "0"}) {
    EXPECT_FALSE(V::fromRawValue(text)) << text;
    EXPECT_THROW(decode<V>('"' + std::string(text) + '"'), DecodingError) << text;
  }
}

}  // namespace tavrine
