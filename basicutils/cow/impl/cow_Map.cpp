// The type-independent parts of cow_Map: string key bits and comparison, the
// iterators' node stack, and the key/value pairs the library promises.
#include "cow/cow_Map.h"

#include <algorithm>
#include <cstring>

// ----------------------------------------------------------------- string keys
bool cow_MapStringKey::Less(const atr_StringBase& a, const atr_StringBase& b) noexcept {
  return std::strcmp(a.c_str(), b.c_str()) < 0;  // strcmp compares as unsigned char
}

// ----------------------------------------------------------------- walk stack
cow_MapWalkBase::cow_MapWalkBase(const cow_MapWalkBase& other) {
  if (other.m_Size == 0) return;
  m_Items = static_cast<const void**>(mem_Malloc(sizeof(const void*) * other.m_Size));
  std::memcpy(m_Items, other.m_Items, sizeof(const void*) * other.m_Size);
  m_Size = m_Capacity = other.m_Size;
}

cow_MapWalkBase& cow_MapWalkBase::operator=(const cow_MapWalkBase& other) {
  if (this == &other) return *this;
  if (m_Capacity < other.m_Size) {
    void* grown = mem_Realloc(m_Items, sizeof(const void*) * other.m_Size);
    m_Items = static_cast<const void**>(grown);
    m_Capacity = other.m_Size;
  }
  if (other.m_Size) std::memcpy(m_Items, other.m_Items, sizeof(const void*) * other.m_Size);
  m_Size = other.m_Size;
  return *this;
}

cow_MapWalkBase::~cow_MapWalkBase() { mem_Free(m_Items); }

void cow_MapWalkBase::Grow() {
  const int capacity = m_Capacity ? m_Capacity * 2 : 32;
  m_Items = static_cast<const void**>(mem_Realloc(m_Items, sizeof(const void*) * capacity));
  m_Capacity = capacity;
}

void cow_MapWalkBase::SortItems(LessFn less) { std::sort(m_Items, m_Items + m_Size, less); }

// ----------------------------------------------------------------- instances
COW_MAP_FOR_EACH_PAIR_(COW_MAP_INSTANTIATE)
