// Memory devices of the binary I/O layer: a growable byte buffer, a device
// that writes into one and a device that reads from one.
//
// A device refers to its buffer and does not own it; the buffer must outlive
// every use of the device (destroying a device never touches its buffer).
// Buffers and devices are used by one thread at a time.
//
// bio_initialize makes the module's process-wide memory devices: one shared
// buffer with an output and an input device over it, and two spare buffers,
// each with an input device. The accessors below return them (null outside
// the initialized library).
#pragma once

#include "VNKUTI_BasicExport.h"
#include "mem/mem_AllocationOperators.h"

class VNKUTI_BASIC_API bio_Buffer : public mem_AllocationOperators {
 public:
  // ----- constructors ---------------------------------------------------
  // size zero bytes.
  explicit bio_Buffer(unsigned int size);
  virtual ~bio_Buffer();
  bio_Buffer(const bio_Buffer&) = delete;
  bio_Buffer& operator=(const bio_Buffer&) = delete;

  // ----- accessors ------------------------------------------------------
  unsigned int Size() const { return m_Size; }
  unsigned int Capacity() const { return m_Capacity; }
  const unsigned char* Data() const { return m_Data; }  // null while the capacity is 0

  // ----- mutators -------------------------------------------------------
  unsigned char* Data() { return m_Data; }
  // Shortens, or grows with zero bytes; keeps the contents up to the new size.
  void Resize(unsigned int size);
  void Reserve(unsigned int capacity);
  void Append(const void* p, unsigned int n);
  void Clear() { m_Size = 0; }  // keeps the memory

 private:
  unsigned char* m_Data = nullptr;
  unsigned int m_Size = 0;
  unsigned int m_Capacity = 0;
};

// Writes at its position, overwriting what is there and growing the buffer
// past its end.
class VNKUTI_BASIC_API bio_OmemoryDevice : public mem_AllocationOperators {
 public:
  explicit bio_OmemoryDevice(bio_Buffer& buffer, unsigned int position = 0);
  virtual ~bio_OmemoryDevice();
  bio_OmemoryDevice(const bio_OmemoryDevice&) = delete;
  bio_OmemoryDevice& operator=(const bio_OmemoryDevice&) = delete;

  void Write(const void* p, unsigned int n);
  unsigned int Position() const { return m_Position; }
  void Seek(unsigned int position) { m_Position = position; }  // a gap is filled with zeros on the next write
  bio_Buffer& Buffer() const { return *m_Buffer; }

 private:
  bio_Buffer* m_Buffer;
  unsigned int m_Position;
};

// Reads from its position up to the buffer's current size.
class VNKUTI_BASIC_API bio_ImemoryDevice : public mem_AllocationOperators {
 public:
  explicit bio_ImemoryDevice(const bio_Buffer& buffer, unsigned int position = 0);
  virtual ~bio_ImemoryDevice();
  bio_ImemoryDevice(const bio_ImemoryDevice&) = delete;
  bio_ImemoryDevice& operator=(const bio_ImemoryDevice&) = delete;

  // Copies up to n bytes to p; returns how many (0 at the end).
  unsigned int Read(void* p, unsigned int n);
  unsigned int Position() const { return m_Position; }
  void Seek(unsigned int position) { m_Position = position; }
  bool AtEnd() const;
  const bio_Buffer& Buffer() const { return *m_Buffer; }

 private:
  const bio_Buffer* m_Buffer;
  unsigned int m_Position;
};

// The module's process-wide devices (made by bio_initialize).
VNKUTI_BASIC_API bio_Buffer* bio_sharedBuffer();
VNKUTI_BASIC_API bio_OmemoryDevice* bio_sharedOutput();
VNKUTI_BASIC_API bio_ImemoryDevice* bio_sharedInput();
// which is 0 or 1; null for any other value.
VNKUTI_BASIC_API bio_Buffer* bio_spareBuffer(int which);
VNKUTI_BASIC_API bio_ImemoryDevice* bio_spareInput(int which);
