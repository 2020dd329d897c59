// A recorder's points as a table for people.
#pragma once

#include "companion/views/text_table.h"

#include <TavrineShared/recorder/recorder_records.h>

#include <span>
#include <string>

namespace tavrine {

/// One line per point, in the order given; GPU memory in GiB. A dash stands for what is absent.
std::string recorderTable(std::span<const RecorderLogPoint> points, const TableStyle& style);

}  // namespace tavrine
