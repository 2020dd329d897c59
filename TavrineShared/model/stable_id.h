// Identifiers that stay the same from run to run and from machine to machine.
#pragma once

#include <TavrineShared/foundation/uuid.h>

#include <string_view>

namespace tavrine::StableID {

/// The UUID of a text: the same bytes always give the same UUID. It carries version 5 and the RFC
/// 4122 variant, but is no SHA-1 UUID of that RFC: it is two 64-bit hashes of the bytes, which are
/// taken as they are. Not meant to withstand texts made to collide.
UUID uuid(std::string_view text);

}  // namespace tavrine::StableID
