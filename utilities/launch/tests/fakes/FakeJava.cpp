// A `java` program that runs no Java: it records its arguments and its current directory into the
// file FAKE_JAVA_LOG and behaves as FAKE_JAVA says: prints, sleeps=MS, exit=N.
#include <filesystem>

#include "Fake.h"

int main(int argc, char** argv) {
  const auto record = [](const std::string& line) { Record("FAKE_JAVA_LOG", line); };
  for (int i = 0; i < argc; ++i) record("argument " + std::string(argv[i]));
  record("in " + std::filesystem::current_path().string());
  if (Scenario("FAKE_JAVA", "prints")) std::puts("fake java runs"), std::fflush(stdout);
  Pause(Scenario("FAKE_JAVA", "sleeps"));
  record("done");
  return Scenario("FAKE_JAVA", "exit").value_or(0);
}
