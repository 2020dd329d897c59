// Asks many hosts at once for all that a capture holds.
#pragma once

#include "companion/capture/capture.h"
#include "companion/collect/collector_script.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tavrine {

/// A host to ask. Without a `destination` it is this machine.
struct CollectHost {
  std::string server;       ///< the name under which it is shown
  std::string destination;  ///< for ssh, such as ada@gpu-01.lab
};

struct CollectRequest {
  std::vector<CollectHost> hosts;
  CollectorOptions script;
  std::string ssh = "ssh";
  std::size_t atOnce = 32;
  double seconds = 30;                                   ///< that one host may take
  std::size_t mostBytesOfPiece = std::size_t{16} << 20;  ///< kept of any one file
  std::size_t mostBytesOfHost = std::size_t{64} << 20;   ///< kept of one host
};

/// One capture for each host, in their order; what went wrong with a host is the problem of its
/// capture. `onHost` is told each time that one more has ended, and `mustStop` asked now and then.
std::vector<Capture> collect(const CollectRequest& request,
                             const std::function<void(std::size_t ended)>& onHost,
                             const std::function<bool()>& mustStop);

/// Why a word of the user's is no host that may be handed to ssh: it could pass for an option or
/// for more than one word. Empty when it is one.
std::string hostProblem(const std::string& host);

}  // namespace tavrine
