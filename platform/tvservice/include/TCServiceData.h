#ifndef TVSERVICE_TCSERVICEDATA_H
#define TVSERVICE_TCSERVICEDATA_H

#include <map>
#include <optional>

// Attribute ids of a service, as TCCriteriaHelper::Fetch and TCServiceAttributeStore::Find take
// them.
enum EServiceAttribute {
    SERVICE_ATTRIBUTE_SERVICE_ID = 12,
};

// One attribute value of a service.
class TCServiceAttribute {
  public:
    explicit TCServiceAttribute(unsigned long long value) : m_Value(value) {}
    unsigned long long GetUInt64() const { return m_Value; }

  private:
    unsigned long long m_Value;
};

// The attributes a query fetched for one service, by attribute id.
class TCServiceAttributeStore {
  public:
    // The attribute, or null when the query did not fetch it or the service has none. It belongs
    // to the store.
    const TCServiceAttribute* Find(int attribute) const;
    void Set(int attribute, unsigned long long value);

  private:
    std::map<int, TCServiceAttribute> m_Attributes;
};

// What a service query answers. It holds no attribute store until a query succeeds on it.
class TCServiceData {
  public:
    // The store of the fetched attributes, or null before a successful query. It belongs to this
    // object.
    const TCServiceAttributeStore* AttributeStore() const;

    // Replaces the store with an empty one and returns it; for the queries that fill the data.
    TCServiceAttributeStore& ResetAttributeStore();

  private:
    std::optional<TCServiceAttributeStore> m_Store;
};

#endif
