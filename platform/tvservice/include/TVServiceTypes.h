// Value types of the TV-service library.
#ifndef TVSERVICE_TYPES_H
#define TVSERVICE_TYPES_H

#include <map>

// Which receiver profile a library object serves; the main profile is 1.
enum EProfile {
    PROFILE_NONE = 0,
    PROFILE_MAIN = 1,
};

// How the navigation criteria pick a service; 0 selects the service currently tuned.
enum ENavigationMode {
    NAVIGATION_MODE_CURRENT = 0,
    NAVIGATION_MODE_ALL = 1,
};

// The receiver's TV mode (for example terrestrial, cable, satellite) and its sub-mode; -1 until a
// query fills them.
struct TSTvMode {
    int mode[2] = {-1, -1};
};

// One audio track of a service as the library describes it.
class TSAudio {
  public:
    TSAudio() = default;
    bool IsAudioDescription() const { return m_AudioDescription; }
    bool IsSpokenSubtitles() const { return m_SpokenSubtitles; }
    void SetAudioDescription(bool value) { m_AudioDescription = value; }
    void SetSpokenSubtitles(bool value) { m_SpokenSubtitles = value; }

  private:
    bool m_AudioDescription = false;
    bool m_SpokenSubtitles = false;
};

// Which attributes of a service a query should fetch.
class TCCriteriaHelper {
  public:
    // Marks attribute `attribute_id` to be fetched. Returns true.
    bool Fetch(int attribute_id);
    bool IsFetched(int attribute_id) const;
    // Set by TCNavigationModeHelper::GetNavigationCriteria.
    bool IsReady() const { return m_Ready; }
    void SetReady(bool ready) { m_Ready = ready; }

  private:
    std::map<int, bool> m_Fetched;
    bool m_Ready = false;
};

// One attribute value of a service.
class TCServiceAttribute {
  public:
    explicit TCServiceAttribute(unsigned long long value) : m_Value(value) {}
    unsigned long long GetUInt64() const { return m_Value; }

  private:
    unsigned long long m_Value;
};

// The attributes a query fetched, by attribute id (12: the service id).
class TCServiceAttributeStore {
  public:
    // The attribute, or null when it was not fetched or the service has none.
    const TCServiceAttribute* Find(int attribute_id) const;
    void Set(int attribute_id, unsigned long long value);

  private:
    std::map<int, TCServiceAttribute> m_Attributes;
};

// What a service query answers: the store of the fetched attributes (null until filled).
class TCServiceData {
  public:
    const TCServiceAttributeStore* AttributeStore() const { return m_Filled ? &m_Store : nullptr; }
    TCServiceAttributeStore& Fill() {
        m_Filled = true;
        return m_Store;
    }

  private:
    TCServiceAttributeStore m_Store;
    bool m_Filled = false;
};

#endif
