// The commands' names, usage lines and help texts.
#include "commands.h"

namespace trevalo_cli {

const std::vector<CommandEntry>& AllCommands() {
    static const std::vector<CommandEntry> commands = {
        {"call",
         "call METHOD [--data JSON] [--buffer-file FILE]",
         "send one request and print the reply",
         "Sends {\"method\": METHOD, \"data\": JSON} with the bytes of FILE (or standard input) "
         "as\n"
         "the buffer, and prints the reply body as one line of JSON, then the reply buffer in\n"
         "hexadecimal when there is one. Whatever the service answers, the status is 0; a D-Bus\n"
         "error reply gives 1.\n"
         "\n"
         "  trevalo-cli call SizeOfAudio\n"
         "  trevalo-cli call GetAudio --data 0\n"
         "\n"
         "METHOD is one of: SendPESDataWithFirstPTS SendPMTData GetPID GetAudio SizeOfAudio\n"
         "GetVideo SizeOfVideo GetSubtitle SizeOfSubtitle GetCurrentVideoPlayingTime\n"
         "SaveCurrentVideoPlayingTime GetCatalogue, or any other name.\n",
         {{"--data", "--buffer-file"}, {}},
         RunCall},
        {"catalogue",
         "catalogue [--json]",
         "print the programme's components",
         "Reads the video, audio and subtitle lists in one GetAll of the catalogue interface\n"
         "org.ondrel.Trevalo.Catalogue1 (from a service without it: one GetCatalogue call; from\n"
         "one without that method: the sizes, then every entry) and prints them as one table: "
         "KIND,\n"
         "index, PID, component tag ('-' when the stream has none), encoding by name and code,\n"
         "language, the role (what the broadcast says each track is for: role, channels, mix;\n"
         "hard of hearing; only from the catalogue interface), and the flags encrypted, CA\n"
         "system, audio description, hearing impaired.\n"
         "With --json, prints one JSON document {\"audio\": [...], \"subtitle\": [...],\n"
         "\"video\": [...]} holding the entries exactly as the service gave them.\n",
         {{}, {"--json"}},
         RunCatalogue},
        {"pid",
         "pid TAG",
         "print the PID carrying a component tag",
         "Asks for the elementary PID that carries component tag TAG (0-255, decimal or 0x..),\n"
         "searching audio, then subtitles, then video, and prints it in decimal. Status 1 when\n"
         "no component carries the tag.\n",
         {{}, {}},
         RunPid},
        {"time",
         "time save MS | time get",
         "save or read the playing time",
         "  time save MS  stores the playing time MS (milliseconds, 0-4294967295)\n"
         "  time get      prints the stored time plus the time elapsed since, less the subtitle\n"
         "                delay, in milliseconds (before any save: the monotonic clock's\n"
         "                milliseconds, less the delay)\n",
         {{}, {}},
         RunTime},
        {"pmt",
         "pmt FILE|- [--program N] [--follow] [--json]",
         "send a stream's PMT, print the components",
         "Reads an MPEG-2 transport stream from FILE or standard input (packets of 188 bytes, or\n"
         "192 with a timestamp before each, or 204 with parity after each; garbage and cut\n"
         "packets are skipped), finds the PAT, the PMT PID of programme N (default: the first\n"
         "programme of the PAT), reassembles the PMT section, checks its CRC_32, sends it with\n"
         "SendPMTData (reset: true) and prints the catalogue.\n"
         "\n"
         "With --follow, keeps reading after that: every new PMT of the programme is sent too\n"
         "(reset: false), and the entries it added (+) or removed (-) are printed. At the end of\n"
         "a file it waits for the file to grow; Ctrl-C stops it (status 0). Use it on a tuner's\n"
         "output (dvbv5-zap -o - ... | trevalo-cli pmt - --follow) or on a recording being\n"
         "written. A recording rewritten shorter is read again from the start. Only the first\n"
         "request may start the service; when it is not there yet, or leaves the bus later\n"
         "(stopped, crashed, restarted), says so, waits for it to appear without starting it,\n"
         "and sends the current PMT again (reset: true); when the bus itself goes, ends with\n"
         "status 2.\n"
         "\n"
         "With --json, prints one JSON object per section sent instead, one per line:\n"
         "{\"program_num\": N, \"pmt_pid\": P, \"version\": V, \"section_bytes\": B, \"answer\": "
         "0,\n"
         "\"catalogue\": {\"audio\": [...], \"subtitle\": [...], \"video\": [...]}} (answer 1 and\n"
         "catalogue null when the service refused the section).\n"
         "\n"
         "Status 1 when the input holds no PAT, no such programme or no valid PMT of it, when\n"
         "the programme leaves the PAT, or when the service refuses the section. An input that\n"
         "does not end (a pipe, or --follow) and shows no PAT within 5 s gets one line saying "
         "so.\n",
         {{"--program"}, {"--follow", "--json"}},
         RunPmt},
        {"programmes",
         "programmes FILE|- [--json]",
         "list a stream's programmes, without the service",
         "Reads an MPEG-2 transport stream from FILE or standard input as pmt does, until every\n"
         "programme of its PAT has shown a valid PMT or the input ends, and prints for each\n"
         "programme its number, the PID and version of its PMT and the PCR PID, then one line\n"
         "per elementary stream: PID, stream type (for private data, what its descriptors say\n"
         "it carries) and the languages of its ISO 639 language, subtitling and teletext\n"
         "descriptors. Needs no bus and no service.\n"
         "\n"
         "With --json, prints one JSON document {\"programs\": [...]}: each programme's\n"
         "program_num, pmt_pid, version, pcr_pid and streams, each stream's pid, stream_type,\n"
         "stream_type_name, component_tag, languages (language, audio_type), ca (system_id,\n"
         "pid), subtitling (language, type, composition_page, ancillary_page), teletext\n"
         "(language, type, magazine, page), ac3 and eac3.\n"
         "\n"
         "Status 1 when the input holds no PAT, or no valid PMT of any of its programmes.\n",
         {{}, {"--json"}},
         RunProgrammes},
        {"listen",
         "listen [--json]",
         "print every TrevaloSignal until interrupted",
         "Prints one line per TrevaloSignal the service sends: the body as JSON, then the buffer\n"
         "in hexadecimal, from the service alone (whoever owns its name). When the service is not\n"
         "on the bus, says so once on stderr and waits for it to appear; it never starts the\n"
         "service. A malformed signal is one line on stderr and skipped. Ctrl-C (or SIGTERM)\n"
         "stops it with status 0; the bus going away ends it with status 2. With --json, one\n"
         "JSON object per signal and line: {\"signal\": NAME, \"body\": {...}, \"buffer\":\n"
         "\"hex\"}.\n",
         {{}, {"--json"}},
         RunListen},
        {"select",
         "select [--audio-lang L,...] [--subtitle-lang L,...] [--ad] [--hoh] [--subtitles "
         "off|auto|on] [--multichannel] [--json]",
         "print the tracks to play for these preferences",
         "Asks the service's track selector (SelectTracks of org.ondrel.Trevalo.Catalogue1)\n"
         "which audio and which subtitles of the current catalogue to play, and prints each\n"
         "choice with its index, PID and the reason, or 'none'. With --json, one line\n"
         "{\"audio\": I, \"audio_pid\": P, \"audio_reason\": \"...\", \"subtitle\": ...}.\n"
         "\n"
         "Options:\n"
         "  --audio-lang L,...     the languages to hear, most wanted first (ISO 639-2, either\n"
         "                         form: ger and deu are one; qaa: the original language)\n"
         "  --subtitle-lang L,...  the languages to read (default: those of --audio-lang)\n"
         "  --ad                   audio description wanted\n"
         "  --hoh                  subtitles for the hard of hearing, and clean audio, wanted\n"
         "  --subtitles MODE       off, auto (default: only when the audio is not in the first\n"
         "                         subtitle language, or with --hoh) or on\n"
         "  --multichannel         multichannel audio before stereo, other things equal\n"
         "\n"
         "The rules are in docs/track-selection.md. Status 2 for a language that is not three\n"
         "letters.\n",
         {{"--audio-lang", "--subtitle-lang", "--subtitles"},
          {"--ad", "--hoh", "--multichannel", "--json"}},
         RunSelect},
        {"watch",
         "watch [--json]",
         "print the catalogue whenever it changes",
         "Reads the properties of the catalogue interface, then waits for its\n"
         "PropertiesChanged, which the service sends with the values a PMT section changed\n"
         "(from a service without that interface: for CatalogueChanged, then reads the\n"
         "catalogue with GetCatalogue), and prints the catalogue when it or its programme\n"
         "differs from the one printed last: a line \"programme N: V video, A audio, S\n"
         "subtitle\" and the table of the catalogue command. With --json, one line per change:\n"
         "{\"programNum\": N, \"audio\": [...], \"subtitle\": [...], \"video\": [...]}. Changes\n"
         "that come faster than they are printed show as one, the newest. When the service is not\n"
         "on the bus, says so once on stderr and waits for it; it never starts the service.\n"
         "Ctrl-C (or SIGTERM) stops it with status 0; the bus going away ends it with status 2.\n",
         {{}, {"--json"}},
         RunWatch},
    };
    return commands;
}

}  // namespace trevalo_cli
