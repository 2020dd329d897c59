// The network of the made-up lab's first server, and who knocks at its door.
#pragma once

#include <TavrineShared/demo/sample_lab.h>
#include <TavrineShared/model/network_security.h>

namespace tavrine::SampleData {

/// Nothing in it but its times depends on the moment.
NetworkSummary sampleNetwork(const Moment& moment);

}  // namespace tavrine::SampleData
