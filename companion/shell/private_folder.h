// A folder for what is only passing through, or not yet whole.
#pragma once

#include <filesystem>

namespace tavrine {

/// A new folder that only its owner may look into; when this ends, it is gone with all in it.
class PrivateFolder {
 public:
  /// In `parent`, under a name that begins as `prefix` does. Throws
  /// `std::filesystem::filesystem_error`.
  PrivateFolder(const std::filesystem::path& parent, const char* prefix);
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;
  ~PrivateFolder();

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace tavrine
