// The machine we run on.
#pragma once

#include <string>

namespace tavrine {

/// The name that this host gives itself. Throws `std::system_error` when it gives none.
std::string hostName();

}  // namespace tavrine
