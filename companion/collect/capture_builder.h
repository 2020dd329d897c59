// The pieces that a host printed become its capture.
#pragma once

#include "companion/capture/capture.h"
#include "companion/collect/piece_reader.h"

#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// What a run is called whose log has this path: the file's name without its ending, or that of its
/// folder where the file has a name that any run's has, such as train.log.
std::string runNameOf(std::string_view path);

/// Runs of one name, in two folders of the same name say, are told apart by numbers. `problem` says
/// why the host did not answer to the end; empty when it did.
Capture captureOf(CaptureInfo info, std::vector<Piece> pieces, const std::string& problem);

}  // namespace tavrine
