// Times, and documents made from an example's by changing one member.
#pragma once

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/coding_error.h>
#include <TavrineShared/model/json_conventions.h>

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>

namespace tavrine {

constexpr Timestamp at(double seconds) { return Timestamp(std::chrono::duration<double>(seconds)); }

/// A text as a JSON text; it holds nothing that needs an escape.
inline std::string jsonText(std::string_view text) { return '"' + std::string(text) + '"'; }

/// The object without a member, which it must have. Blanks around it are not expected.
inline std::string withoutMember(std::string_view object, std::string_view key) {
  JSONReader reader(object);
  EXPECT_EQ(reader.enterObject(), JSONResult::ok) << object;
  std::string others;
  bool isFound = false;
  for (std::string_view next; reader.nextKey(next);) {
    const std::string name(next);
    const char* const start = reader.position();
    EXPECT_TRUE(reader.skip()) << object;
    if (name == key) {
      isFound = true;
      continue;
    }
    others.append(others.empty() ? "" : ",").append(jsonText(name)).append(":");
    others.append(start, reader.position());
  }
  EXPECT_TRUE(isFound) << key << " is not in " << object;
  return "{" + others + "}";
}

/// The object with one more member, its last.
inline std::string withNewMember(std::string object, std::string_view key, std::string_view json) {
  object.pop_back();
  object.append(object == "{" ? "" : ",").append(jsonText(key)).append(":").append(json);
  return object + "}";
}

/// The object with another value of a key, which it must have; the member becomes its last.
inline std::string withMember(std::string_view object, std::string_view key,
                              std::string_view json) {
  return withNewMember(withoutMember(object, key), key, json);
}

/// Where in a document it is that costs the T; "nowhere" if it decodes.
template <class T>
std::string placeOfFailure(std::string_view document) {
  try {
    decode<T>(document);
    return "nowhere";
  } catch (const DecodingError& error) {
    return error.path();
  }
}

/// What is read, written again.
template <class T>
std::string rewritten(std::string_view document) {
  return encode(decode<T>(document));
}

}  // namespace tavrine
