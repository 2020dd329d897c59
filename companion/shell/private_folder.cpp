#include "companion/shell/private_folder.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace tavrine {

PrivateFolder::PrivateFolder(const std::filesystem::path& parent, const char* prefix) {
  std::string pattern = (parent / prefix).string() + "XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) {  // for its owner only
    throw std::filesystem::filesystem_error("cannot make a folder in",
                                            parent,
                                            std::error_code(errno, std::generic_category()));
  }
  path_ = pattern;
}

PrivateFolder::~PrivateFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace tavrine
