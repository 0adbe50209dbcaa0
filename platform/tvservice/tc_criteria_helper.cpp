#include "TCCriteriaHelper.h"

void TCCriteriaHelper::Fetch(int attribute) {
    m_Fetched.insert(attribute);
}

bool TCCriteriaHelper::IsFetched(int attribute) const {
    return m_Fetched.count(attribute) != 0;
}
