#include "companion/shell/host.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace tavrine {

std::string hostName() {
  // A name that fills the buffer would come without its NUL.
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot tell this host's name");
  }
  return name.data();
}

}  // namespace tavrine
