// The errors that decoding and encoding throw.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace tavrine {

/// Why a document could not be decoded. `what()` is path and reason in one line, for example
/// "servers[2].gpus[0].name: required key is missing".
class DecodingError : public std::runtime_error {
 public:
  enum class Kind : std::uint8_t {
    notJSON,        ///< the document is not JSON at all; the reason gives line and column
    keyNotFound,    ///< a required key is missing
    valueNotFound,  ///< a null where a value is required
    typeMismatch,   ///< a value of another JSON type
    dataCorrupted,  ///< the right JSON type, but a text or number that stands for no value
  };

  DecodingError(Kind kind, std::string path, std::string reason, std::string found = {});

  Kind kind() const { return kind_; }
  /// Names of keys and, in brackets, positions in lists from 0, from the document's root on;
  /// empty for the root itself.
  const std::string& path() const { return path_; }
  const std::string& reason() const { return reason_; }
  /// The JSON that stood there, cut to 80 characters; empty when nothing did.
  const std::string& found() const { return found_; }

 private:
  Kind kind_;
  std::string path_;
  std::string reason_;
  std::string found_;
};

/// Why a value could not be written as JSON: a number that is not finite, or a time outside the
/// years 0000 to 9999. Nothing was written.
class EncodingError : public std::runtime_error {
 public:
  EncodingError(std::string path, std::string reason);

  const std::string& path() const { return path_; }
  const std::string& reason() const { return reason_; }

 private:
  std::string path_;
  std::string reason_;
};

}  // namespace tavrine
