#include "companion/views/recorder_table.h"

#include "companion/views/quantity_text.h"
#include "companion/views/record_table.h"

#include <array>

namespace tavrine {

namespace {

std::string share(const std::optional<DCGMSample>& dcgm, double DCGMSample::*counter) {
  constexpr double kPercent = 100;
  if (!dcgm) return std::string(kAbsent);
  return withUnit((*dcgm).*counter * kPercent, "%");
}

constexpr auto kColumns = std::to_array<RecordColumn<RecorderLogPoint>>({
    {{"Time"}, [](const RecorderLogPoint& point) -> Cell { return timeText(point.t); }},
    {{"Phase"}, [](const RecorderLogPoint& point) -> Cell { return point.phase; }},
    {{"Util", Alignment::right},
     [](const RecorderLogPoint& point) -> Cell { return withUnit(point.gpuUtil, "%"); }},
    {{"Mem used", Alignment::right},
     [](const RecorderLogPoint& point) -> Cell { return gibibytesOfMB(point.vramMB); }},
    {{"Power", Alignment::right},
     [](const RecorderLogPoint& point) -> Cell { return watts(point.powerW); }},
    {{"Tensor", Alignment::right},
     [](const RecorderLogPoint& point) -> Cell {
       return share(point.dcgm, &DCGMSample::tensorActive);
     }},
    {{"DRAM", Alignment::right},
     [](const RecorderLogPoint& point) -> Cell {
       return share(point.dcgm, &DCGMSample::dramActive);
     }},
    {{"Threads", Alignment::right},
     [](const RecorderLogPoint& point) -> Cell {
       return point.pySpy ? std::to_string(point.pySpy->size()) : std::string(kAbsent);
     }},
    {{"Text"}, [](const RecorderLogPoint& point) -> Cell { return orAbsent(point.text); }},
});

}  // namespace

std::string recorderTable(std::span<const RecorderLogPoint> points, const TableStyle& style) {
  return recordTable<RecorderLogPoint>(points, kColumns, style);
}

}  // namespace tavrine
