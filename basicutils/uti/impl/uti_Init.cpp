#include "UTI_CoreUtils.h"
#include "cls/cls_ClassRegistrar.h"
#include "nex/nex_Exception.h"
#include "plt/plt_Process.h"
#include "typ/typ_ArchCompTable.h"
#include "uti/UTI_BasicUtils.h"
#include "uti/impl/uti_SpawnInternal.h"
#include "uti/uti_Coord3D.h"
#include "uti/uti_Exception.h"

namespace {
constinit unsigned g_Uses = 0;

// The module's classes in the type table, class number k at index k - 1.
// The scripting layer's exceptions derive from nex_CommandException; the two
// command-lookup failures are text exceptions.
constexpr unsigned kRoot = 1;
constexpr unsigned kCommand = nex_CommandException::ClassTypeId;
constexpr unsigned kText = nex_TextException::ClassTypeId;
constexpr typ_Entry kUtiEntries[] = {
    {kRoot, "uti_NumFormat", 4},                  // 0x20001
    {kRoot, "uti_ReportTable", 4},                // 0x20002
    {kRoot, "uti_ReportDocument", 4},             // 0x20003
    {kRoot, "uti_MD5", 4},                        // 0x20004
    {kRoot, "uti_Blowfish", 4},                   // 0x20005
    {kRoot, "uti_Rotor", 4},                      // 0x20006
    {kRoot, "uti_Spawn", 4},                      // 0x20007
    {kRoot, "uti_SpawnSink", 4},                  // 0x20008
    {kRoot, "uti_SpawnSource", 4},                // 0x20009
    {kRoot, "uti_SpawnSinkWithSource", 4},        // 0x2000A
    {kRoot, "uti_SpawnSourceWithSink", 4},        // 0x2000B
    {kRoot, "uti_Redirection", 4},                // 0x2000C
    {kRoot, "uti_PreCheckFile", 4},               // 0x2000D
    {kRoot, "uti_FormatMap", 4},                  // 0x2000E
    {kRoot, "uti_ResourceMonitor", 4},            // 0x2000F
    {kRoot, "uti_HostInfo", 4},                   // 0x20010
    {kRoot, "uti_UserInfo", 4},                   // 0x20011
    {kRoot, "uti_PlatformInfo", 4},               // 0x20012
    {kRoot, "uti_ProcessorInfo", 4},              // 0x20013
    {kRoot, "uti_DateTime", 4},                   // 0x20014
    {kRoot, "uti_Timer", 4},                      // 0x20015
    {kRoot, "uti_RemoteShell", 4},                // 0x20016
    {kRoot, "uti_SecureShell", 4},                // 0x20017
    {kRoot, "uti_ReportRow", 4},                  // 0x20018
    {kRoot, "uti_ReportColumn", 4},               // 0x20019
    {kRoot, "uti_ReportCell", 4},                 // 0x2001A
    {kRoot, "uti_NumFormatMap", 4},               // 0x2001B
    {kRoot, "uti_Coord3D", 4},                    // 0x2001C
    {kRoot, "uti_CoordCont3D", 4},                // 0x2001D
    {kCommand, "uti_OdmException", 4},            // 0x2001E
    {kCommand, "uti_XypException", 4},            // 0x2001F
    {kCommand, "uti_IOErrorException", 4},        // 0x20020
    {kCommand, "uti_CmdFailedException", 4},      // 0x20021
    {kCommand, "uti_InterruptedException", 4},    // 0x20022
    {kCommand, "uti_PreCheckFileException", 4},   // 0x20023
    {kText, "uti_NotOnPathException", 4},         // 0x20024
    {kText, "uti_NotExecutableException", 4},     // 0x20025
};
constexpr unsigned short kUtiModule = 2;
}  // namespace

void uti_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "uti")) return;
  typ_ArchCompEntry e;
  e.m_Entries = kUtiEntries;
  e.m_Count = sizeof(kUtiEntries) / sizeof(kUtiEntries[0]);
  typ_ArchCompTable::InsertEntry(kUtiModule, e);

  cls_MetadataRegistrar& m = omi_Singleton<cls_MetadataRegistrar>::Instance();
  // ---- persistent exception classes, each with mask 2
  m.initClassMetadata(&uti_IOErrorException::InitializeMetadata, 2);
  m.initClassMetadata(&uti_OdmException::InitializeMetadata, 2);
  m.initClassMetadata(&uti_XypException::InitializeMetadata, 2);
  m.initClassMetadata(&uti_CmdFailedException::InitializeMetadata, 2);
  m.initClassMetadata(&uti_InterruptedException::InitializeMetadata, 2);
  m.initClassMetadata(&uti_PreCheckFileException::InitializeMetadata, 2);
  // ---- coordinates
  m.initClassMetadata(&uti_Coord3D::InitializeMetadata, 6);
  m.initClassMetadata(&uti_CoordCont3D::InitializeMetadata, 7);
}

void uti_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "uti")) return;
  // The redirection symbol table, if no thread's end took it yet, and the
  // children given up that have ended since the last look.
  uti_releaseRedirectionTable();
  plt_ProcessReapOrphans();
}
