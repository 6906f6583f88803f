#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "Handles.h"
#include "LastError.h"
#include "Owner.h"
#include "Paths.h"
#include "tlhelp32.h"

namespace {

// Fills the entry from /proc/<id>/stat: "id (name) state parent ...", where the name may hold
// anything. False when the process is gone.
bool ReadProcess(DWORD id, PROCESSENTRY32& entry) {
  const std::string text = host::FileText("/proc/" + std::to_string(id) + "/stat");
  const std::size_t open = text.find('(');
  const std::size_t close = text.rfind(')');
  unsigned parent = 0;
  if (close == std::string::npos ||
      std::sscanf(text.c_str() + close + 1, " %*c %u", &parent) != 1) {
    return false;
  }
  entry = PROCESSENTRY32{};
  entry.dwSize = sizeof entry;
  entry.th32ProcessID = id;
  entry.th32ParentProcessID = parent;
  const std::string name = text.substr(open + 1, close - open - 1);
  name.copy(entry.szExeFile, sizeof entry.szExeFile - 1);
  return true;
}

class SnapshotObject : public host::Object {
 public:
  SnapshotObject() : m_Processes(::opendir("/proc")) {}

  bool IsOpen() const { return static_cast<bool>(m_Processes); }

  void Rewind() {
    ::rewinddir(m_Processes.Get());
    m_IsOwnGiven = false;
  }

  // False after the last one.
  bool Next(PROCESSENTRY32& entry) {
    const auto ownId = static_cast<DWORD>(::getpid());
    if (!m_IsOwnGiven) {
      m_IsOwnGiven = true;
      if (ReadProcess(ownId, entry)) {
        return true;
      }
    }
    while (const dirent* item = ::readdir(m_Processes.Get())) {
      const auto id = static_cast<DWORD>(std::strtoul(item->d_name, nullptr, 10));
      if (id != 0 && id != ownId && ReadProcess(id, entry)) {
        return true;
      }
    }
    return false;
  }

 private:
  host::Directory m_Processes;
  bool m_IsOwnGiven = false;
};

BOOL GiveProcess(HANDLE handle, PROCESSENTRY32* entry, bool isFirst) {
  const auto snapshot = host::FindObject<SnapshotObject>(handle);
  if (snapshot == nullptr) {
    return host::Fail(ERROR_INVALID_HANDLE);
  }
  if (entry == nullptr || entry->dwSize < sizeof *entry) {
    return host::Fail(ERROR_BAD_LENGTH);
  }
  if (isFirst) {
    snapshot->Rewind();
  }
  return snapshot->Next(*entry) ? TRUE : host::Fail(ERROR_NO_MORE_FILES);
}

}  // namespace

// Differs from Windows:
// - Only processes (TH32CS_SNAPPROCESS); other kinds are refused with 87.
// - Processes are read when Process32First and Process32Next ask for them, the calling process
//   before all others: whoever looks for itself need not pay for a whole busy machine.
// - The parent of an orphan is the process that adopted it; a parent outside the process namespace
//   is 0.
// - szExeFile is the kernel's short name (15 characters); only the two ids and the name are filled.
// - A snapshot is used by one thread at a time.
HANDLE CreateToolhelp32Snapshot(DWORD flags, DWORD /*processId: means nothing for processes*/) {
  if (flags != TH32CS_SNAPPROCESS) {
    host::Fail(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  auto snapshot = std::make_shared<SnapshotObject>();
  if (!snapshot->IsOpen()) {
    host::Fail(host::ErrorFromErrno(errno));
    return INVALID_HANDLE_VALUE;
  }
  const HANDLE handle = host::AddHandle(std::move(snapshot));
  if (handle == nullptr) {
    host::Fail(ERROR_TOO_MANY_OPEN_FILES);
    return INVALID_HANDLE_VALUE;
  }
  return handle;
}

BOOL Process32First(HANDLE snapshot, PROCESSENTRY32* entry) {
  return GiveProcess(snapshot, entry, true);
}

BOOL Process32Next(HANDLE snapshot, PROCESSENTRY32* entry) {
  return GiveProcess(snapshot, entry, false);
}
