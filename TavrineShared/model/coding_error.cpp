#include <TavrineShared/model/coding_error.h>

#include <utility>

namespace tavrine {

namespace {

std::string message(const std::string& path, const std::string& reason) {
  return path.empty() ? reason : path + ": " + reason;
}

}  // namespace

DecodingError::DecodingError(Kind kind, std::string path, std::string reason, std::string found)
    : std::runtime_error(message(path, reason)),
      kind_(kind),
      path_(std::move(path)),
      reason_(std::move(reason)),
      found_(std::move(found)) {}

EncodingError::EncodingError(std::string path, std::string reason)
    : std::runtime_error(message(path, reason)),
      path_(std::move(path)),
      reason_(std::move(reason)) {}

}  // namespace tavrine
