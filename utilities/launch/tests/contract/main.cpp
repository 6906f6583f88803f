#include <cstdlib>
#include <fstream>
#include <iterator>

#include "Contract.h"

std::string g_Program;

void WriteText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string ReadText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

testing::AssertionResult Fails(bool isOk, DWORD error) {
  const DWORD last = GetLastError();
  return isOk            ? testing::AssertionFailure() << "succeeded"
         : last != error ? testing::AssertionFailure() << "error " << last << " for " << error
                         : testing::AssertionSuccess();
}

BOOL StartSelf(const std::string& arguments, PROCESS_INFORMATION& child) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  std::string line = "contract_tests " + arguments;
  return CreateProcessA(g_Program.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        nullptr, &startup, &child);
}

// As a child: "--exit MILLISECONDS CODE" sleeps and ends; "--write FILE ..." writes the arguments
// that follow, each in brackets.
int main(int argc, char** argv) {
  const std::string mode = argc >= 3 ? argv[1] : "";
  if (mode == "--exit") {
    Sleep(static_cast<DWORD>(std::atoi(argv[2])));
    return std::atoi(argv[3]);
  }
  if (mode == "--write") {
    std::string text;
    for (int i = 3; i < argc; ++i) {
      text += "[" + std::string(argv[i]) + "]";
    }
    WriteText(argv[2], text);
    return 0;
  }
  g_Program = argv[0];
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
