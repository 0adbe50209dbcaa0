// Catalogue1.SelectTracks: the preferences read from the call's a{sv}, the selector run over the
// current catalogue, the choice answered as an a{sv}. Nothing is kept and nothing is logged.
#ifndef TREVALO_SELECT_TRACKS_H
#define TREVALO_SELECT_TRACKS_H

#include <vector>

#include "Ondrel/TCValue.h"

// The method's call: one a{sv} argument, one a{sv} result. A preference of the wrong type, a
// language that is not three letters or an unknown "subtitles" value is refused with
// org.freedesktop.DBus.Error.InvalidArgs naming it (Ondrel::TCMethodError).
std::vector<Ondrel::TCValue> SelectTracksCall(const std::vector<Ondrel::TCValue>& arguments);

#endif
