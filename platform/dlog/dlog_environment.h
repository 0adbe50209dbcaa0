// What the platform log takes from the environment: DLOG_MIN_PRIORITY, the lowest priority
// written (V D I W E F S, verbose ... silent, or the number 0-8 of the priority), and
// JOURNAL_STREAM, which tells whether standard error is the journal's stream.
#ifndef PLATFORM_DLOG_ENVIRONMENT_H
#define PLATFORM_DLOG_ENVIRONMENT_H

namespace dlog {

// Reads both; the log does at its first line, tests again after changing them.
void ReadEnvironment();

}  // namespace dlog

#endif
