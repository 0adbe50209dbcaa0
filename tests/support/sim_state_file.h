// The simulated platform state the TV-service layer reads, as a test sets it.
#ifndef TESTS_TVSERVICE_SIM_STATE_FILE_H
#define TESTS_TVSERVICE_SIM_STATE_FILE_H

#include <string>

namespace sim_state_file {

// Points PLATFORM_SIM_STATE at this process's state file and makes `document` its content: the
// new version is written to a fresh file and renamed over the state file, as a test changes the
// platform under a running process.
void Write(const std::string& document);

// Write() with `block` (JSON text) as the "tv_service" block.
void WriteTvService(const std::string& block);

// Points PLATFORM_SIM_STATE at `path` as it is.
void UsePath(const std::string& path);

// Leaves PLATFORM_SIM_STATE unset.
void Unset();

// A directory private to this process, removed when it ends.
const std::string& Directory();

}  // namespace sim_state_file

#endif
