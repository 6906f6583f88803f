// The Assistant's program for Windows: starts the Assistant of the Torvel.jar beside it, and exits.
//
// An update replaces both files, but Windows cannot replace a running program, and a jar must not
// change while Java reads it. So this program exits at once, and Java reads copies: each start
// creates a folder below TorvelAssistant.copies, after removing those that no Java uses. Java's
// working directory is that of this program; its output is appended to TorvelAssistant.log there.
//
// Exit codes: 0 Java was started, 1 it was not, with the reason on standard error.
#include <windows.h>

#include <cstdio>
#include <string>

namespace {

struct Failure {
  std::string what;
  DWORD error;
};

void Require(bool done, const char* what) {
  if (!done) throw Failure{what, GetLastError()};
}

constexpr DWORD kLongestText = 32767;
constexpr int kMostFolders = 1000;
constexpr wchar_t kCopies[] = L"TorvelAssistant.copies";
constexpr wchar_t kInUse[] = L"\\in-use";

void GoToOwnDirectory() {
  std::wstring path(kLongestText, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), kLongestText));
  path.resize(path.find_last_of(L'\\') + 1);
  Require(SetCurrentDirectoryW(path.c_str()), "cannot enter its own directory");
}

std::wstring Variable(const wchar_t* name) {
  std::wstring value(kLongestText, L'\0');
  value.resize(GetEnvironmentVariableW(name, value.data(), kLongestText));
  return value;
}

std::wstring FindJava() {
  if (const std::wstring home = Variable(L"JAVA_HOME"); !home.empty())
    return home + L"\\bin\\java.exe";
  std::wstring java(kLongestText, L'\0');
  java.resize(SearchPathW(Variable(L"PATH").c_str(), L"java.exe", nullptr, kLongestText,
                          java.data(), nullptr));
  Require(!java.empty(), "finds no java.exe by JAVA_HOME or on PATH");
  return java;
}

// Calls `function` with the name of each match, "." and ".." included.
template <typename Function>
void ForEach(const std::wstring& pattern, Function function) {
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(pattern.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return;
  do function(std::wstring(found.cFileName));
  while (FindNextFileW(search, &found));
  FindClose(search);
}

// A folder is in use while its mark cannot be deleted, because Java holds it open.
void RemoveUnusedCopies() {
  ForEach(std::wstring(kCopies) + L"\\*", [](const std::wstring& name) {
    const std::wstring folder = std::wstring(kCopies) + L"\\" + name;
    if (name[0] == L'.') return;
    if (!DeleteFileW((folder + kInUse).c_str()) && GetLastError() != ERROR_FILE_NOT_FOUND) return;
    ForEach(folder + L"\\*", [&folder](const std::wstring& file) {
      const std::wstring path = folder + L"\\" + file;
      SetFileAttributesW(path.c_str(),
                         FILE_ATTRIBUTE_NORMAL);  // a copy of a read-only file is read-only
      DeleteFileW(path.c_str());
    });
    RemoveDirectoryW(folder.c_str());
  });
}

// An inheritable handle, or INVALID_HANDLE_VALUE.
HANDLE Open(const wchar_t* path, DWORD access, DWORD shared, DWORD disposition) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  return CreateFileW(path, access, shared, &inherited, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Whether to try another number: the folder exists, is being deleted until its last handle is
// closed, or was just removed by another start.
bool MayTryNext(DWORD error) {
  return error == ERROR_ALREADY_EXISTS || error == ERROR_ACCESS_DENIED ||
         error == ERROR_PATH_NOT_FOUND;
}

// Creates a folder, sets `folder` to its name and returns the handle of its mark.
HANDLE MakeFolder(std::wstring& folder) {
  CreateDirectoryW(kCopies, nullptr);
  for (int number = 1;; ++number) {
    folder = std::wstring(kCopies) + L"\\" + std::to_wstring(number);
    if (CreateDirectoryW(folder.c_str(), nullptr)) {
      const HANDLE mark =
          Open((folder + kInUse).c_str(), GENERIC_WRITE, FILE_SHARE_READ, CREATE_NEW);
      if (mark != INVALID_HANDLE_VALUE) return mark;
    }
    Require(MayTryNext(GetLastError()) && number < kMostFolders,
            "cannot make a folder in TorvelAssistant.copies");
  }
}

void Start(const std::wstring& java, std::wstring command, HANDLE mark) {
  const DWORD all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = Open(L"NUL", GENERIC_READ, all, OPEN_EXISTING);
  const HANDLE log = Open(L"TorvelAssistant.log", FILE_APPEND_DATA | SYNCHRONIZE, all, OPEN_ALWAYS);
  Require(log != INVALID_HANDLE_VALUE, "cannot write TorvelAssistant.log");
  startup.StartupInfo.hStdOutput = startup.StartupInfo.hStdError = log;

  // Nothing else is inherited: a caller that reads our output to its end would wait for Java.
  HANDLE handles[] = {startup.StartupInfo.hStdInput, log, mark};
  SIZE_T size = 0;
  InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
  std::string attributes(size, '\0');
  startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(attributes.data());
  Require(
      InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size) &&
          UpdateProcThreadAttribute(startup.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                    handles, sizeof handles, nullptr, nullptr),
      "cannot name what Java inherits");

  // A hidden console of its own: closing the caller's console does not end the Assistant.
  PROCESS_INFORMATION started{};
  Require(CreateProcessW(java.c_str(), command.data(), nullptr, nullptr, TRUE,
                         CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                         &startup.StartupInfo, &started),
          "cannot start java.exe");
}

void Run() {
  GoToOwnDirectory();
  const std::wstring java = FindJava();
  RemoveUnusedCopies();
  std::wstring folder;
  const HANDLE mark = MakeFolder(folder);
  Require(CopyFileW(L"Torvel.jar", (folder + L"\\Torvel.jar").c_str(), TRUE),
          "cannot copy Torvel.jar");
  Require(CopyFileW(L"swt-win64.jar", (folder + L"\\swt-win64.jar").c_str(), TRUE),
          "cannot copy swt-win64.jar");
  // Only the C1 compiler, which is faster for short builds.
  Start(java,
        L"java -Xmx256m -XX:+UseSerialGC -XX:TieredStopAtLevel=1 -cp " + folder + L"\\Torvel.jar;" +
            folder + L"\\swt-win64.jar com.drel.torvel.assistant.Assistant",
        mark);
}

}  // namespace

int main() {
  try {
    Run();
    return 0;
  } catch (const Failure& failure) {
    std::fprintf(stderr, "TorvelAssistant: %s: error %lu\n", failure.what.c_str(), failure.error);
    return 1;
  }
}
