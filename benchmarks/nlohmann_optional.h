// Optional members for nlohmann/json, whose macros write an absent one as a null.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>

template <class T>
struct nlohmann::adl_serializer<std::optional<T>> {
  static void from_json(const json& j, std::optional<T>& value) {
    if (j.is_null()) {
      value.reset();
    } else {
      value = j.get<T>();
    }
  }
  static void to_json(json& j, const std::optional<T>& value) {
    if (value) {
      j = *value;
    } else {
      j = nullptr;
    }
  }
};
