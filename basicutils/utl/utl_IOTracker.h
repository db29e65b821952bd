// utl_IOTracker: per-activity counts of file traffic, kept together in one
// process-wide container.
//
// The container is a global singleton (thr_GlobalSingleton): made on first
// use (utl_File makes sure of it whenever a file is created for writing) and
// destroyed by utl_finalize. A tracker registers itself with the container
// for its lifetime; the container only lists trackers, it owns none.
//
// Threads: the container's members lock its mutex; a tracker's counters are
// plain and belong to the thread that feeds them.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"
#include "thr/thr_GlobalSingleton.h"

class thr_Mutex;
class utl_IOTracker;

class VNKUTI_BASIC_API utl_IOTracker_Container : public mem_AllocationOperators {
 public:
  utl_IOTracker_Container();
  ~utl_IOTracker_Container();
  utl_IOTracker_Container(const utl_IOTracker_Container&) = delete;
  utl_IOTracker_Container& operator=(const utl_IOTracker_Container&) = delete;

  void Register(utl_IOTracker* tracker);
  void Unregister(utl_IOTracker* tracker);  // a tracker not listed is ignored
  int Count() const;
  // Sums over the listed trackers.
  long long TotalBytesRead() const;
  long long TotalBytesWritten() const;

  // The singleton: made on first call; Peek() is null when none exists.
  static utl_IOTracker_Container& Instance();
  static utl_IOTracker_Container* Peek();
  // Destroys the singleton (utl_finalize).
  static void Finalize();

 private:
  thr_Mutex* m_Mutex;
  utl_IOTracker** m_Trackers;
  int m_Count;
  int m_Capacity;
};

class VNKUTI_BASIC_API utl_IOTracker : public mem_AllocationOperators {
 public:
  // Registers with the container singleton (making it if need be).
  explicit utl_IOTracker(const cow_String& name);
  ~utl_IOTracker();
  utl_IOTracker(const utl_IOTracker&) = delete;
  utl_IOTracker& operator=(const utl_IOTracker&) = delete;

  typedef utl_IOTracker_Container Container;

  void NoteRead(long long bytes) { m_BytesRead += bytes; }
  void NoteWritten(long long bytes) { m_BytesWritten += bytes; }
  const cow_String& Name() const { return m_Name; }
  long long BytesRead() const { return m_BytesRead; }
  long long BytesWritten() const { return m_BytesWritten; }

 private:
  cow_String m_Name;
  long long m_BytesRead = 0;
  long long m_BytesWritten = 0;
};

extern template class VNKUTI_BASIC_API thr_GlobalSingletonBase<utl_IOTracker_Container>;
extern template class VNKUTI_BASIC_API thr_GlobalSingleton<utl_IOTracker_Container>;
