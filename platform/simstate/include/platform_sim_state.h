// The simulated platform's state, shared by the simulated platform layers (system information,
// TV service). PLATFORM_SIM_STATE names a JSON file; a read costs one stat(2), and the file is
// parsed again only when it has changed, so a test can change the platform while the service runs.
// Within one request (BeginRequest to EndRequest) the file is looked at once, however many lookups
// it makes.
#ifndef PLATFORM_SIM_STATE_H
#define PLATFORM_SIM_STATE_H

#include <json/value.h>

namespace platform_sim {

// The current state document: an object, or null when there is no variable, no file, or the
// file cannot be read or parsed (one warning line on stderr for each such version of the file).
// The reference stays valid until the next call.
const Json::Value& CurrentState();

// The same, with a number that changes whenever the document does (0: no document), so that a
// layer can keep what it derived from the document until the number moves.
const Json::Value& CurrentState(unsigned long& generation);

// Between these two calls the state read first stands for every later read: the platform holds
// still for the length of one request. The service's entry has the framework call them around
// each request it delivers; pairs may nest.
void BeginRequest();
void EndRequest();

// The member `name` of the block `block` of the current state; nullptr when either is absent
// (a member present with the value null is returned as such). Valid until the next call.
const Json::Value* FindStateMember(const char* block, const char* name);

}  // namespace platform_sim

#endif
