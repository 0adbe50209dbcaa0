#ifndef SECTIONPARSER_DESCRIPTOR_TABLE_H
#define SECTIONPARSER_DESCRIPTOR_TABLE_H

#include <cstddef>
#include <variant>
#include <vector>

#include "TCDescAC3.h"
#include "TCDescCA.h"
#include "TCDescEnhancedAC3.h"
#include "TCDescExtension.h"
#include "TCDescLanguage.h"
#include "TCDescStreamIdentifier.h"
#include "TCDescSubtitling.h"
#include "TCDescSupplementaryAudio.h"
#include "TCDescTeletext.h"
#include "TCDescriptor.h"

// Every descriptor object of one section, stored by value (no allocation per descriptor), with a
// parallel table of base-class pointers that the streams hand out by index.
class DescriptorTable {
  public:
    // Empties the table and makes room for `capacity` descriptors, so that the addresses of the
    // objects added afterwards never move while the section is read.
    void Prepare(size_t capacity);

    // Adds the descriptor whose tag byte is at `raw`, as the class that matches its tag, and
    // returns its place in the table.
    int Add(const unsigned char* raw);

    TCDescriptor* const* From(int first) const { return m_Pointers.data() + first; }
    int Size() const { return static_cast<int>(m_Pointers.size()); }

    void Clear();

  private:
    using AnyDescriptor =
        std::variant<TCDescriptor, TCDescStreamIdentifier, TCDescCA, TCDescLanguage,
                     TCDescSubtitling, TCDescTeletext, TCDescAC3, TCDescEnhancedAC3,
                     TCDescExtension, TCDescSupplementaryAudio>;

    template <typename Descriptor>
    int Emplace(const unsigned char* raw);

    std::vector<AnyDescriptor> m_Objects;
    std::vector<TCDescriptor*> m_Pointers;
};

#endif
