// Ctrl-C and SIGTERM as a request to stop: a long-running command catches them, finishes what
// it is doing and ends with status 0.
#ifndef TREVALO_CLI_INTERRUPTION_H
#define TREVALO_CLI_INTERRUPTION_H

namespace trevalo_cli {

// From now on SIGINT and SIGTERM set the flag and interrupt a blocking read or sleep.
void CatchInterruption();
bool Interrupted();

// Runs the default main context until SIGINT or SIGTERM, for the commands that print what the
// service sends.
void RunMainLoopUntilInterrupted();

// Ends RunMainLoopUntilInterrupted early, from a callback of the loop it runs.
void StopMainLoop();

}  // namespace trevalo_cli

#endif
