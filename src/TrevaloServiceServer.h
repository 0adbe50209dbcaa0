#ifndef TREVALO_SERVICE_SERVER_H
#define TREVALO_SERVICE_SERVER_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Ondrel/TCMessage.h"
#include "TrevaloTrackRoles.h"

class TCPMTElementary;
class TCPMTInstance;
class TCPMTParser;
class TSAudio;

// One audio track of the programme.
struct AudioComponent {
    int16_t pid;
    int32_t encoding;  // 0 AC-3, 2 MPEG-1/2 audio, 3 AAC (ADTS), 4 MPEG-4 audio (LATM), 5 E-AC-3
    bool encrypted;    // the stream carries a CA descriptor
    uint8_t comp_tag;  // stream identifier's component_tag; 255 when the stream has none
    std::string lang;  // three characters of the ISO 639 code; "zzz" or "zzzz" when none
    int32_t audio_channels;
    bool audio_desc;
    // Beside what the entry queries answer: what the broadcast says the track is for.
    AudioSignals signals;
};

// One video elementary stream.
struct VideoComponent {
    int16_t pid;
    int32_t encoding;  // 0 MPEG-1 video or stream type 0x80, 1 AVC, -1 MPEG-2 video
    bool encrypted;
    uint16_t ca_sid;  // CA_system_ID of the stream's CA descriptor; 0 when none
    uint8_t comp_tag;
    int32_t aspect_ratio;
};

// One subtitle or teletext language entry of a private PES stream.
struct SbtComponent {
    int16_t pid;
    bool encrypted;
    uint8_t comp_tag;
    std::string lang;
    bool hearing_impaired;
    // Beside what the entry queries answer: what the entry is, for the typed catalogue.
    bool teletext;              // a teletext page, else a DVB subtitle
    uint8_t type;               // teletext_type, or subtitling_type
    uint8_t magazine;           // teletext: magazine number, 0 to 7
    uint8_t page;               // teletext: page number
    uint16_t composition_page;  // DVB subtitle
    uint16_t ancillary_page;    // DVB subtitle
};

// A catalogue list owns its records; an entry's index is its place in the order of appending.
template <typename Component>
using ComponentList = std::vector<std::unique_ptr<Component>>;

// All of the service's state and the operations on it: the component catalogue built from the
// programme's PMT, the queries on it, and the playing-time store. Everything runs on the
// main-loop thread, one request at a time, so nothing here is locked.
class TrevaloServiceServer {
  public:
    // Catalogue lifetime.
    static void InitTrevaloServiceServer();
    static void FiniTrevaloServiceServer();

    // Request handlers: each answers only through the reply.
    static void ParsePMT(const Ondrel::TCMessage& request, Ondrel::TCMessage& reply);
    static void GetPID(const Ondrel::TCMessage& request, Ondrel::TCMessage& reply);
    static void GetAudio(const Ondrel::TCMessage& request, Ondrel::TCMessage& reply);
    static void SizeOfAudio(const Ondrel::TCMessage& request, Ondrel::TCMessage& reply);
    static void GetVideo(const Ondrel::TCMessage& request, Ondrel::TCMessage& reply);
    static void SizeOfVideo(const Ondrel::TCMessage& request, Ondrel::TCMessage& reply);
    static void GetSubtitle(const Ondrel::TCMessage& request, Ondrel::TCMessage& reply);
    static void SizeOfSubtitle(const Ondrel::TCMessage& request, Ondrel::TCMessage& reply);
    // Beside the eleven methods: the three lists in one answer.
    static void GetCatalogue(const Ondrel::TCMessage& request, Ondrel::TCMessage& reply);
    static void GetCurrentVideoPlayingTimeFromTrevaloService(const Ondrel::TCMessage& request,
                                                             Ondrel::TCMessage& reply);
    static void SaveCurrentVideoPlayingTimeAtTrevaloService(const Ondrel::TCMessage& request,
                                                            Ondrel::TCMessage& reply);

    // The PMT path: one call per elementary stream, routed by stream type.
    static void m_ProcessComponents(TCPMTInstance* instance, int index);
    static void GetAndFillVideoList(TCPMTElementary* es, int& encoding);
    static void GetAndFillAudioList(TCPMTElementary* es, int& encoding);
    static void ProcessPrivatePESAndFillAudio(TCPMTElementary* es, int& encoding);
    static void GetAudioAndSetAudioList(TCPMTElementary* es, unsigned char& comp_tag, int encoding);
    static void updateCompTag(unsigned char& comp_tag, TCPMTElementary* es);

    // What the TV-service library says of the current service and audio.
    static bool get_service_id(unsigned long long& id);
    static int GetAudioInfo(TSAudio& audio);

    // The catalogue: null before Init and after Fini.
    static ComponentList<AudioComponent>* audList;
    static ComponentList<VideoComponent>* vidList;
    static ComponentList<SbtComponent>* sbtList;

    // The programme number and version_number of the last accepted PMT; 0 and -1 before one.
    static uint16_t m_ProgramNumber;
    static int m_PmtVersion;

    // Created by the first "SendPMTData" and kept for the life of the process.
    static TCPMTParser* m_pParser;

    // The last playing time the client saved, and the monotonic clock reading (seconds) then.
    static uint32_t m_CurrentVideoPlayingTime;
    static double m_TimeTicker;

  private:
    static void ClearCatalogue();
};

#endif
