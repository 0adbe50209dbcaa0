// The numbers of ISO/IEC 13818-1 and ETSI EN 300 468 that more than one reader of PSI sections
// needs: stream types, descriptor tags, and the teletext and table constants.
#ifndef TREVALO_MPEG_CONSTANTS_H
#define TREVALO_MPEG_CONSTANTS_H

#include <cstdint>

namespace trevalo_mpeg {

// stream_type of a PMT elementary-stream loop entry (ISO/IEC 13818-1 table 2-34, and the values
// the DVB and ATSC worlds use in the user-private range).
namespace stream_type {
constexpr uint8_t kMpeg1Video = 0x01;
constexpr uint8_t kMpeg2Video = 0x02;
constexpr uint8_t kMpeg1Audio = 0x03;
constexpr uint8_t kMpeg2Audio = 0x04;
constexpr uint8_t kPrivateSections = 0x05;
constexpr uint8_t kPrivatePes = 0x06;
constexpr uint8_t kAacAdts = 0x0F;
constexpr uint8_t kAacLatm = 0x11;
constexpr uint8_t kAvcVideo = 0x1B;
constexpr uint8_t kHevcVideo = 0x24;
constexpr uint8_t kUserPrivateVideo = 0x80;  // MPEG video in some networks' user-private range
constexpr uint8_t kAc3Audio = 0x81;
constexpr uint8_t kEnhancedAc3Audio = 0x87;
}  // namespace stream_type

// descriptor_tag (ISO/IEC 13818-1 table 2-45, ETSI EN 300 468 table 12).
namespace descriptor_tag {
constexpr uint8_t kCa = 0x09;
constexpr uint8_t kIso639Language = 0x0A;
constexpr uint8_t kStreamIdentifier = 0x52;
constexpr uint8_t kTeletext = 0x56;
constexpr uint8_t kSubtitling = 0x59;
constexpr uint8_t kAc3 = 0x6A;
constexpr uint8_t kEnhancedAc3 = 0x7A;
constexpr uint8_t kExtension = 0x7F;
}  // namespace descriptor_tag

// descriptor_tag_extension of an extension descriptor (ETSI EN 300 468 table 109).
namespace extension_tag {
constexpr uint8_t kSupplementaryAudio = 0x06;
}  // namespace extension_tag

// teletext_type of a teletext descriptor entry (ETSI EN 300 468 table 94).
namespace teletext_type {
constexpr uint8_t kInitialPage = 0x01;
constexpr uint8_t kSubtitlePage = 0x02;
constexpr uint8_t kAdditionalInformationPage = 0x03;
constexpr uint8_t kProgrammeSchedulePage = 0x04;
constexpr uint8_t kHearingImpairedSubtitlePage = 0x05;
}  // namespace teletext_type

// table_id and the PIDs of the tables a reader starts from.
namespace table_id {
constexpr uint8_t kPat = 0x00;
constexpr uint8_t kPmt = 0x02;
}  // namespace table_id
constexpr uint16_t kPatPid = 0x0000;
constexpr uint16_t kNullPid = 0x1FFF;

}  // namespace trevalo_mpeg

#endif
