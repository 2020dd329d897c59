// Secrets taken out of what a host printed, before it is kept.
#pragma once

#include "companion/capture/capture.h"

#include <string>
#include <string_view>

namespace tavrine {

/// A JSON document, or lines of JSON, without the secrets in each of its texts, by the rules of
/// text_redaction.h. It stays JSON; what is none is taken for text. Numbers stay.
std::string redactedJSON(std::string_view text);

/// All texts of a capture without secrets.
Capture redacted(Capture capture);

}  // namespace tavrine
