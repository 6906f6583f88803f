// The Assistant's program for Windows: starts the Assistant of the Torvel.jar beside it, and ends.
//
// An update of the Assistant replaces both, but Windows replaces no program that runs, and a jar
// must not change under the Java that reads it. So this program runs for a moment only, and Java
// reads copies: every start makes a folder of its own below TorvelAssistant.copies, after it has
// removed those that no Java uses any more. Java works in the directory that this program lies in;
// what it prints is added to TorvelAssistant.log there.
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

// Calls back with the name of each entry that fits, "." and ".." among them.
template <typename Function>
void ForEach(const std::wstring& pattern, Function function) {
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(pattern.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return;
  do function(std::wstring(found.cFileName));
  while (FindNextFileW(search, &found));
  FindClose(search);
}

// A folder is used as long as its mark cannot be deleted, for a Java holds it open.
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

// A handle that Java will hold, or INVALID_HANDLE_VALUE.
HANDLE Open(const wchar_t* path, DWORD access, DWORD shared, DWORD disposition) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  return CreateFileW(path, access, shared, &inherited, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Whether a folder of another number may do: this one is taken, or about to be deleted once nobody
// holds it any more, or was removed by another start in this very moment.
bool MayTryNext(DWORD error) {
  return error == ERROR_ALREADY_EXISTS || error == ERROR_ACCESS_DENIED ||
         error == ERROR_PATH_NOT_FOUND;
}

// Sets the name of a new folder, and gives its mark.
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

  // Nothing else is inherited: a caller that reads our output to its end would otherwise wait for
  // Java's.
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

  // A console of its own, unseen: closing the caller's ends no Assistant.
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
  // The first compiler only: builds are short, and so it is the faster one for them.
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
