// What a file may be that is not what a verb was to read.
#pragma once

#include <string>
#include <string_view>

namespace tavrine {

/// Words such as "it looks like a recorder's log, which 'tavrine diagnose' reads", by the beginning
/// of `text`; empty where it looks like nothing known, or like what `reader`, such as "diagnose" or
/// "parse gpus", reads itself.
std::string likelyContent(std::string_view text, std::string_view reader);

/// The same, but only of what is no text that anything here could read: UTF-16, packed files.
std::string unreadableContent(std::string_view text);

}  // namespace tavrine
