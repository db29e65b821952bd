#include "UTI_CoreUtils.h"
#include "bio/bio_MemoryDevice.h"
#include "uti/UTI_BasicUtils.h"

namespace {
constinit unsigned g_Uses = 0;

// One shared buffer with a device of each direction over it.
constinit bio_Buffer* g_SharedBuffer = nullptr;
constinit bio_OmemoryDevice* g_SharedOutput = nullptr;
constinit bio_ImemoryDevice* g_SharedInput = nullptr;

// Two spare buffers, each read through its own device.
struct SparePair {
  bio_Buffer* m_Buffer;
  bio_ImemoryDevice* m_Input;
};
constinit SparePair g_Spare[2] = {};
}  // namespace

void bio_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "bio")) return;
  g_SharedBuffer = new bio_Buffer(0);
  g_SharedOutput = new bio_OmemoryDevice(*g_SharedBuffer);
  g_SharedInput = new bio_ImemoryDevice(*g_SharedBuffer);
  for (SparePair& s : g_Spare) {
    if (s.m_Buffer != nullptr) continue;
    s.m_Buffer = new bio_Buffer(0);
    s.m_Input = new bio_ImemoryDevice(*s.m_Buffer);
  }
}

void bio_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "bio")) return;
  // Buffer before device: a device's destructor never touches its buffer.
  for (SparePair& s : g_Spare) {
    delete s.m_Buffer;
    s.m_Buffer = nullptr;
    delete s.m_Input;
    s.m_Input = nullptr;
  }
  delete g_SharedBuffer;
  g_SharedBuffer = nullptr;
  delete g_SharedOutput;
  g_SharedOutput = nullptr;
  delete g_SharedInput;
  g_SharedInput = nullptr;
}

bio_Buffer* bio_sharedBuffer() { return g_SharedBuffer; }
bio_OmemoryDevice* bio_sharedOutput() { return g_SharedOutput; }
bio_ImemoryDevice* bio_sharedInput() { return g_SharedInput; }
bio_Buffer* bio_spareBuffer(int which) { return which == 0 || which == 1 ? g_Spare[which].m_Buffer : nullptr; }
bio_ImemoryDevice* bio_spareInput(int which) { return which == 0 || which == 1 ? g_Spare[which].m_Input : nullptr; }
