// Secrets taken out of a snapshot, before it leaves the lab.
#pragma once

#include <TavrineShared/model/app_snapshot.h>

namespace tavrine {

/// Each text of a snapshot, whatever it is there for, by the rules of text_redaction.h, and the
/// values of hyperparameters by their names.
AppSnapshot redacted(AppSnapshot snapshot);

}  // namespace tavrine
