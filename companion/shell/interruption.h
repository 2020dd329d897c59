// Ending on purpose: by Ctrl-C, by the system, by whoever closes the terminal.
#pragma once

namespace tavrine {

/// From now on SIGINT, SIGTERM and SIGHUP no longer end the process but are noted. One that was
/// ignored before, as nohup does with SIGHUP, stays ignored.
void noteInterruptions();

/// Whether one of them has come.
bool isInterrupted();

}  // namespace tavrine
