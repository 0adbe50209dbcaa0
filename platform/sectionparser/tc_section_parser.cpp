#include "TCSectionParser.h"

TCSectionParser::~TCSectionParser() = default;

bool TCSectionParser::Initialize() {
    Reset();
    m_Initialized = true;
    return true;
}
