#include "tsdemux/pmt_streams.h"

#include <algorithm>

#include "TCPMTParser.h"
#include "trevalo/language_code.h"

namespace tsdemux {
namespace {

// The text of a language code met in one of the stream's descriptors, added to the stream's
// languages unless listed already.
std::string Language(ElementaryStream& stream, ELanguageCode code) {
    std::string language = trevalo_mpeg::LanguageString(code);
    if (std::find(stream.languages.begin(), stream.languages.end(), language) ==
        stream.languages.end()) {
        stream.languages.push_back(language);
    }
    return language;
}

// Each entry of a descriptor that names languages, in the stream's list of its kind.
void Take(const TCDescLanguage& descriptor, ElementaryStream& stream) {
    for (int index = 0; index < descriptor.NumOfLanguage(); ++index) {
        ELanguageCode code = LANGUAGE_CODE_NONE;
        EAudioType type = AUDIO_TYPE_UNDEFINED;
        descriptor.Language(index, &code, &type);
        stream.iso639_languages.push_back({Language(stream, code), type});
    }
}

void Take(const TCDescSubtitling& descriptor, ElementaryStream& stream) {
    for (int index = 0; index < descriptor.NumOfSubtitling(); ++index) {
        stream.subtitling.push_back(
            {Language(stream, descriptor.Iso639LangCode(index)), descriptor.SubtitlingType(index),
             descriptor.CompositionPageId(index), descriptor.AncillaryPageId(index)});
    }
}

void Take(const TCDescTeletext& descriptor, ElementaryStream& stream) {
    for (int index = 0; index < descriptor.NumOfTeletext(); ++index) {
        stream.teletext.push_back(
            {Language(stream, descriptor.Iso639LangCode(index)), descriptor.TeletextType(index),
             descriptor.TeletextMagazineNumber(index), descriptor.TeletextPageNumber(index)});
    }
}

// Lists the streams the section parser's loop reader finds, each with what its descriptors say.
class StreamLister final : public TCPMTLoopVisitor {
  public:
    explicit StreamLister(std::vector<ElementaryStream>& streams) : m_Streams(streams) {}

    void ProgramDescriptor(const unsigned char*) override {}

    void Elementary(unsigned char streamType, short elementaryPID, const unsigned char*,
                    int) override {
        ElementaryStream& stream = m_Streams.emplace_back();
        stream.stream_type = streamType;
        stream.pid = static_cast<uint16_t>(elementaryPID);
    }

    void ElementaryDescriptor(const unsigned char* raw) override {
        ElementaryStream& stream = m_Streams.back();
        const int tag = TCDescriptor(raw).Tag();
        stream.descriptor_tags.push_back(static_cast<uint8_t>(tag));
        if (tag == TCDescLanguage::kTag) {
            Take(TCDescLanguage(raw), stream);
        } else if (tag == TCDescSubtitling::kTag) {
            Take(TCDescSubtitling(raw), stream);
        } else if (tag == TCDescTeletext::kTag) {
            Take(TCDescTeletext(raw), stream);
        } else if (tag == TCDescStreamIdentifier::kTag) {
            const TCDescStreamIdentifier identifier(raw);
            if (identifier.HasComponentTag() && stream.component_tag < 0) {
                stream.component_tag = identifier.ComponentTag();
            }
        } else if (tag == TCDescCA::kTag) {
            const TCDescCA ca(raw);
            if (ca.HasFixedPart()) stream.ca.push_back({ca.CASystemID(), ca.CAPID()});
        }
    }

  private:
    std::vector<ElementaryStream>& m_Streams;
};

}  // namespace

PmtStreams ReadPmtStreams(const std::vector<uint8_t>& section) {
    PmtStreams result;
    StreamLister lister(result.streams);
    const ESectionStatus status =
        TCPMTInstance::ReadLoops(section.data(), static_cast<int>(section.size()), lister);
    result.truncated = status != SECTION_VALID;
    // A section too short for its loops is not trusted with a PCR_PID either.
    if (status != SECTION_LENGTH_TOO_SHORT) {
        result.pcr_pid = static_cast<uint16_t>((section[8] & 0x1F) << 8 | section[9]);
    }
    return result;
}

}  // namespace tsdemux
