#include "sectionparser_exercise.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <memory>

#include "TCPMTParser.h"
#include "trevalo/readable_extent.h"

namespace fuzz {
namespace {

using Frame = std::array<unsigned char, TCBaseSection::kMaxSectionSize>;

// Keeps every value read alive, so the reads are not optimised away.
volatile unsigned g_Sink;

void Use(unsigned value) {
    g_Sink = g_Sink + value;
}

void Require(bool promise) {
    if (!promise) std::abort();
}

// CRC_32 of ISO/IEC 13818-1, bit by bit: the harness does not borrow the parser's own.
uint32_t Crc32(const unsigned char* data, size_t size) {
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t index = 0; index < size; ++index) {
        crc ^= uint32_t{data[index]} << 24;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x80000000u) != 0 ? (crc << 1) ^ 0x04C11DB7u : crc << 1;
        }
    }
    return crc;
}

void FrameInput(const uint8_t* data, size_t size, Frame& frame) {
    frame.fill(0);
    std::copy_n(data, std::min(size, frame.size()), frame.begin());
}

size_t ClaimedSize(const Frame& frame) {
    return 3 + (((frame[1] & 0x0F) << 8) | frame[2]);
}

// Writes the CRC_32 the section's own length calls for, when that end lies inside the frame.
void FixCrc(Frame& frame) {
    const size_t size = ClaimedSize(frame);
    if (size < 4 || size > frame.size()) return;
    const uint32_t crc = Crc32(frame.data(), size - 4);
    for (int index = 0; index < 4; ++index) {
        frame[size - 4 + index] = static_cast<unsigned char>(crc >> (24 - 8 * index));
    }
}

bool Inside(const TCBaseSection& section, const unsigned char* begin, int length) {
    return begin >= section.Bytes() && length >= 0 &&
           begin + length <= section.Bytes() + section.Size();
}

void ReadAC3Audio(const TCDescAC3Audio& audio) {
    Require(audio.HasComponentType() || audio.ComponentType() == 0);
    Use(audio.ComponentType() + audio.EnhancedAC3() + audio.FullService() + audio.ServiceType() +
        audio.NumberOfChannels() + audio.IsWellFormed());
}

void ReadExtension(const TCDescriptor& descriptor) {
    const auto* extension = dynamic_cast<const TCDescExtension*>(&descriptor);
    Require(extension != nullptr);
    Require(extension->ExtensionLength() >= 0);
    for (int index = 0; index < extension->ExtensionLength(); ++index) {
        Use(extension->ExtensionPayload()[index]);
    }
    const auto* supplementary = dynamic_cast<const TCDescSupplementaryAudio*>(&descriptor);
    Require((supplementary != nullptr) ==
            (extension->TagExtension() == TCDescSupplementaryAudio::kTagExtension));
    if (supplementary == nullptr) return;
    Require(supplementary->HasLanguageCode() || supplementary->Iso639LangCode() == 0);
    Use(supplementary->MixType() + supplementary->EditorialClassification() +
        supplementary->LanguageCodePresent() + supplementary->Iso639LangCode());
    Require(supplementary->PrivateDataLength() >= 0);
    for (int index = 0; index < supplementary->PrivateDataLength(); ++index) {
        Use(supplementary->PrivateData()[index]);
    }
}

void ReadEntries(const TCDescriptor& descriptor) {
    switch (descriptor.Tag()) {
        case TCDescStreamIdentifier::kTag: {
            const auto* identifier = dynamic_cast<const TCDescStreamIdentifier*>(&descriptor);
            Require(identifier != nullptr);
            Use(identifier->ComponentTag() + identifier->HasComponentTag());
            break;
        }
        case TCDescCA::kTag: {
            const auto* ca = dynamic_cast<const TCDescCA*>(&descriptor);
            Require(ca != nullptr);
            Use(ca->CASystemID() + ca->CAPID());
            for (int index = 0; index < ca->PrivateDataLength(); ++index) {
                Use(ca->PrivateData()[index]);
            }
            break;
        }
        case TCDescLanguage::kTag: {
            const auto* language = dynamic_cast<const TCDescLanguage*>(&descriptor);
            Require(language != nullptr);
            for (int index = -1; index <= language->NumOfLanguage() + 1; ++index) {
                ELanguageCode code;
                EAudioType type;
                const bool exists = language->Language(index, &code, &type);
                Require(exists == (index >= 0 && index < language->NumOfLanguage()));
                language->Language(index, nullptr, nullptr);
                Use(code + type);
            }
            break;
        }
        case TCDescSubtitling::kTag: {
            const auto* subtitling = dynamic_cast<const TCDescSubtitling*>(&descriptor);
            Require(subtitling != nullptr);
            for (int index = -1; index <= subtitling->NumOfSubtitling() + 1; ++index) {
                Use(subtitling->Iso639LangCode(index) + subtitling->SubtitlingType(index) +
                    subtitling->CompositionPageId(index) + subtitling->AncillaryPageId(index));
            }
            break;
        }
        case TCDescTeletext::kTag: {
            const auto* teletext = dynamic_cast<const TCDescTeletext*>(&descriptor);
            Require(teletext != nullptr);
            for (int index = -1; index <= teletext->NumOfTeletext() + 1; ++index) {
                Use(teletext->Iso639LangCode(index) + teletext->TeletextType(index) +
                    teletext->TeletextMagazineNumber(index) + teletext->TeletextPageNumber(index));
            }
            break;
        }
        case TCDescAC3::kTag:
            Require(dynamic_cast<const TCDescAC3*>(&descriptor) != nullptr);
            ReadAC3Audio(static_cast<const TCDescAC3Audio&>(descriptor));
            break;
        case TCDescEnhancedAC3::kTag:
            Require(dynamic_cast<const TCDescEnhancedAC3*>(&descriptor) != nullptr);
            ReadAC3Audio(static_cast<const TCDescAC3Audio&>(descriptor));
            break;
        case TCDescExtension::kTag:
            ReadExtension(descriptor);
            break;
        default:
            break;
    }
}

void ReadDescriptor(const TCBaseSection& section, const TCDescriptor* descriptor) {
    Require(descriptor != nullptr);
    Require(Inside(section, descriptor->Raw(), descriptor->Length() + 2));
    Require(descriptor->Raw()[0] == descriptor->Tag());
    for (int index = 0; index < descriptor->Length(); ++index) Use(descriptor->Payload()[index]);
    Use(descriptor->IsWellFormed());
    ReadEntries(*descriptor);
}

void ReadStream(const TCPMTInstance& instance, const TCPMTElementary& stream) {
    Use(stream.StreamType());
    Require(stream.ElementaryPID() >= 0 && stream.ElementaryPID() <= 0x1FFF);
    Require(Inside(instance, stream.ESInfo(), stream.ESInfoLength()));

    const int count = stream.NumOfDescriptor();
    Require(stream.Descriptor(-1) == nullptr && stream.Descriptor(count) == nullptr);
    Require(stream.Descriptor(INT_MIN) == nullptr && stream.Descriptor(INT_MAX) == nullptr);
    int bytes = 0;
    std::array<int, 256> ofTagInLoop{};
    for (int index = 0; index < count; ++index) {
        const TCDescriptor* descriptor = stream.Descriptor(index);
        ReadDescriptor(instance, descriptor);
        bytes += descriptor->Length() + 2;
        ++ofTagInLoop[descriptor->Tag()];
    }
    Require(bytes == stream.ESInfoLength());

    // The lookup by tag finds every descriptor of that tag, in loop order, and nothing more.
    for (int tag = 0; tag < 256; ++tag) {
        const int ofTag = stream.NumOfDescriptorByTag(tag);
        Require(ofTag == ofTagInLoop[tag]);
        if (ofTag == 0) continue;
        int nth = 0;
        for (int index = 0; index < count; ++index) {
            if (stream.Descriptor(index)->Tag() != tag) continue;
            Require(stream.DescriptorByTag(tag, nth++) == stream.Descriptor(index));
        }
        Require(stream.DescriptorByTag(tag, ofTag) == nullptr);
        Require(stream.DescriptorByTag(tag, -1) == nullptr);
    }
    Require(stream.NumOfDescriptorByTag(-1) == 0 && stream.NumOfDescriptorByTag(0x100) == 0);
    Require(stream.DescriptorByTag(0x100, 0) == nullptr);
}

void ReadProgramme(TCPMTParser& parser, unsigned short programNumber) {
    TCPMTInstance* instance = parser.PMTInstance(programNumber);
    if (instance == nullptr) return;
    Require(instance->ProgramNumber() == programNumber);
    Require(instance->Size() >= 5 && instance->Size() <= TCBaseSection::kMaxSectionSize);
    Use(instance->TableId() + instance->SectionLength() + instance->VersionNumber() +
        instance->CurrentNextIndicator() + instance->SectionNumber() +
        instance->LastSectionNumber() + instance->CRC32() + instance->PCRPID() +
        instance->Status() + instance->SourcePID() + instance->SectionSyntaxIndicator());

    if (!instance->IsValid()) {
        Require(instance->NumOfElementary() == 0 && instance->NumOfProgramDescriptor() == 0);
    }
    for (int index = -1; index <= instance->NumOfProgramDescriptor(); ++index) {
        const TCDescriptor* descriptor = instance->ProgramDescriptor(index);
        if (index < 0 || index == instance->NumOfProgramDescriptor()) {
            Require(descriptor == nullptr);
        } else {
            ReadDescriptor(*instance, descriptor);
        }
    }
    const int streams = instance->NumOfElementary();
    for (int index = 0; index < streams; ++index) {
        const TCPMTElementary* stream = instance->PMTElementary(static_cast<unsigned>(index));
        Require(stream != nullptr);
        ReadStream(*instance, *stream);
    }
    Require(instance->PMTElementary(static_cast<unsigned>(streams)) == nullptr);
    Require(instance->PMTElementary(UINT_MAX) == nullptr);
}

unsigned short ProgramNumberOf(const Frame& frame) {
    return static_cast<unsigned short>((frame[3] << 8) | frame[4]);
}

}  // namespace

void ExerciseSectionParser(const uint8_t* data, size_t size) {
    TCPMTParser parser(TVSHandle{1, 0, 0});
    parser.Initialize();

    Frame asSent;
    FrameInput(data, size, asSent);
    parser.Parse(0, asSent.data());
    ReadProgramme(parser, ProgramNumberOf(asSent));

    Frame crcFixed = asSent;
    FixCrc(crcFixed);
    parser.Parse(0x100, crcFixed.data());
    ReadProgramme(parser, ProgramNumberOf(crcFixed));

    // A second section right behind the first one, as a client might batch them.
    const size_t firstSize = ClaimedSize(asSent);
    if (firstSize < size) {
        Frame second;
        FrameInput(data + firstSize, size - firstSize, second);
        FixCrc(second);
        parser.Parse(0, second.data());
        ReadProgramme(parser, ProgramNumberOf(second));
        ReadProgramme(parser, ProgramNumberOf(crcFixed));
    }

    // The input as it came, in a block of its own length that is recorded: whatever its header
    // claims, the parser reads within the block, and keeps no more than it holds.
    std::unique_ptr<unsigned char[]> exact(new unsigned char[size + 1]);
    std::copy(data, data + size, exact.get());
    trevalo_extent::Record(exact.get(), size);
    parser.Parse(0, exact.get());
    if (size >= 5) {
        const auto programNumber = static_cast<unsigned short>((data[3] << 8) | data[4]);
        const TCPMTInstance* instance = parser.PMTInstance(programNumber);
        Require(instance == nullptr || static_cast<size_t>(instance->Size()) <= size);
        ReadProgramme(parser, programNumber);
    }
    trevalo_extent::Forget(exact.get());

    parser.Parse(0, nullptr);
    Require(parser.PMTInstance(ProgramNumberOf(crcFixed)) == nullptr);
    parser.Reset();
    Require(parser.NumOfInstance() == 0);
}

}  // namespace fuzz
