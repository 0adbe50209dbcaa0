#ifndef ONDREL_TCVALUE_H
#define ONDREL_TCVALUE_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Ondrel {

struct TCDictEntry;

// One D-Bus value of the types a server's properties and typed methods carry: y, b, q, i, s, ay,
// as, a{sv} (a dictionary, each member a name and a value in a variant) and aa{sv} (a list of
// dictionaries).
class TCValue {
  public:
    enum class Type {
        kByte,
        kBoolean,
        kUInt16,
        kInt32,
        kString,
        kBytes,
        kDictionaries,
        kStrings,
        kDictionary
    };
    using Dictionary = std::vector<TCDictEntry>;  // members in the order written

    static TCValue Byte(uint8_t value) { return TCValue(Type::kByte, value); }
    static TCValue Boolean(bool value) { return TCValue(Type::kBoolean, value ? 1 : 0); }
    static TCValue UInt16(uint16_t value) { return TCValue(Type::kUInt16, value); }
    static TCValue Int32(int32_t value) { return TCValue(Type::kInt32, value); }
    static TCValue String(std::string text);  // must be valid UTF-8 without NUL to be sent
    static TCValue Bytes(std::vector<uint8_t> bytes);
    static TCValue Dictionaries(std::vector<Dictionary> dictionaries);
    static TCValue Strings(std::vector<std::string> texts);  // each valid UTF-8 without NUL
    static TCValue OneDictionary(Dictionary dictionary);

    Type GetType() const { return m_Type; }
    // The D-Bus signature of the value ("y", "aa{sv}", ...).
    const char* Signature() const;
    int64_t Number() const { return m_Number; }  // y, b (0 or 1), q, i
    const std::string& Text() const { return m_Text; }
    const std::vector<uint8_t>& ByteList() const { return m_Bytes; }
    const std::vector<Dictionary>& DictionaryList() const { return m_Dictionaries; }
    const std::vector<std::string>& StringList() const { return m_Strings; }
    // a{sv}: its members; aa{sv}: the first dictionary's. Empty for other types.
    const Dictionary& Members() const;

  private:
    TCValue(Type type, int64_t number) : m_Type(type), m_Number(number) {}

    Type m_Type = Type::kInt32;
    int64_t m_Number = 0;
    std::string m_Text;
    std::vector<uint8_t> m_Bytes;
    std::vector<Dictionary> m_Dictionaries;
    std::vector<std::string> m_Strings;
};

struct TCDictEntry {
    std::string name;
    TCValue value;
};

inline TCValue TCValue::String(std::string text) {
    TCValue value(Type::kString, 0);
    value.m_Text = std::move(text);
    return value;
}

inline TCValue TCValue::Bytes(std::vector<uint8_t> bytes) {
    TCValue value(Type::kBytes, 0);
    value.m_Bytes = std::move(bytes);
    return value;
}

inline TCValue TCValue::Dictionaries(std::vector<Dictionary> dictionaries) {
    TCValue value(Type::kDictionaries, 0);
    value.m_Dictionaries = std::move(dictionaries);
    return value;
}

inline TCValue TCValue::Strings(std::vector<std::string> texts) {
    TCValue value(Type::kStrings, 0);
    value.m_Strings = std::move(texts);
    return value;
}

inline TCValue TCValue::OneDictionary(Dictionary dictionary) {
    TCValue value(Type::kDictionary, 0);
    value.m_Dictionaries.push_back(std::move(dictionary));
    return value;
}

inline const TCValue::Dictionary& TCValue::Members() const {
    static const Dictionary kNone;
    return m_Dictionaries.empty() ? kNone : m_Dictionaries.front();
}

inline const char* TCValue::Signature() const {
    switch (m_Type) {
        case Type::kByte:
            return "y";
        case Type::kBoolean:
            return "b";
        case Type::kUInt16:
            return "q";
        case Type::kInt32:
            return "i";
        case Type::kString:
            return "s";
        case Type::kBytes:
            return "ay";
        case Type::kDictionaries:
            return "aa{sv}";
        case Type::kStrings:
            return "as";
        case Type::kDictionary:
            return "a{sv}";
    }
    return "";
}

// Equal type and value; dictionaries equal member by member, in order.
bool operator==(const TCValue& a, const TCValue& b);
inline bool operator==(const TCDictEntry& a, const TCDictEntry& b) {
    return a.name == b.name && a.value == b.value;
}
inline bool operator==(const TCValue& a, const TCValue& b) {
    return a.GetType() == b.GetType() && a.Number() == b.Number() && a.Text() == b.Text() &&
           a.ByteList() == b.ByteList() && a.DictionaryList() == b.DictionaryList();
}
inline bool operator!=(const TCValue& a, const TCValue& b) {
    return !(a == b);
}

}  // namespace Ondrel

#endif
