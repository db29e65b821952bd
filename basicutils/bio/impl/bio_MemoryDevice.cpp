#include "bio/bio_MemoryDevice.h"

#include <cstring>

#include "mem/mem_Alloc.h"

// ================================================================= buffer

bio_Buffer::bio_Buffer(unsigned int size) { Resize(size); }

bio_Buffer::~bio_Buffer() { mem_Free(m_Data); }

void bio_Buffer::Reserve(unsigned int capacity) {
  if (capacity <= m_Capacity) return;
  // Doubling keeps a run of small appends linear.
  unsigned int grown = m_Capacity > capacity / 2 ? m_Capacity * 2 : capacity;
  if (grown < capacity) grown = capacity;  // the doubling wrapped
  m_Data = static_cast<unsigned char*>(mem_Realloc(m_Data, grown));
  m_Capacity = grown;
}

void bio_Buffer::Resize(unsigned int size) {
  if (size > m_Size) {
    Reserve(size);
    std::memset(m_Data + m_Size, 0, size - m_Size);
  }
  m_Size = size;
}

void bio_Buffer::Append(const void* p, unsigned int n) {
  if (n == 0) return;
  Reserve(m_Size + n);
  std::memcpy(m_Data + m_Size, p, n);
  m_Size += n;
}

// ================================================================ devices

bio_OmemoryDevice::bio_OmemoryDevice(bio_Buffer& buffer, unsigned int position)
    : m_Buffer(&buffer), m_Position(position) {}

bio_OmemoryDevice::~bio_OmemoryDevice() = default;

void bio_OmemoryDevice::Write(const void* p, unsigned int n) {
  if (n == 0) return;
  unsigned int end = m_Position + n;
  if (end > m_Buffer->Size()) m_Buffer->Resize(end);
  std::memcpy(m_Buffer->Data() + m_Position, p, n);
  m_Position = end;
}

bio_ImemoryDevice::bio_ImemoryDevice(const bio_Buffer& buffer, unsigned int position)
    : m_Buffer(&buffer), m_Position(position) {}

bio_ImemoryDevice::~bio_ImemoryDevice() = default;

unsigned int bio_ImemoryDevice::Read(void* p, unsigned int n) {
  unsigned int size = m_Buffer->Size();
  if (m_Position >= size) return 0;
  if (n > size - m_Position) n = size - m_Position;
  std::memcpy(p, m_Buffer->Data() + m_Position, n);
  m_Position += n;
  return n;
}

bool bio_ImemoryDevice::AtEnd() const { return m_Position >= m_Buffer->Size(); }
