// A `java` program that runs no Java: it records its command line, its arguments and its current
// directory into the file FAKE_JAVA_LOG and behaves as FAKE_JAVA says: prints, sleeps=MS, exit=N.
#include <chrono>
#include <filesystem>
#include <thread>

#include "Fake.h"

std::string RawCommandLine();

int main(int argc, char** argv) {
  const auto record = [](const std::string& line) { Record("FAKE_JAVA_LOG", line); };
  record("raw " + RawCommandLine());
  for (int i = 0; i < argc; ++i) record("argument " + std::string(argv[i]));
  record("in " + std::filesystem::current_path().string());
  if (Scenario("FAKE_JAVA", "prints")) std::puts("fake java runs"), std::fflush(stdout);
  if (const auto milliseconds = Scenario("FAKE_JAVA", "sleeps"))
    std::this_thread::sleep_for(std::chrono::milliseconds(std::stol(*milliseconds)));
  record("done");
  const auto code = Scenario("FAKE_JAVA", "exit");
  return code ? static_cast<int>(std::stol(*code)) : 0;
}
