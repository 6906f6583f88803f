// A `java` program without Java. It appends its arguments and its current directory to the file
// FAKE_JAVA_LOG. FAKE_JAVA selects its behaviour: sleeps=MS, exit=N, waits (for a
// file "end" in the current directory, for ten minutes at most).
#include <filesystem>

#include "Fake.h"

int main(int argc, char** argv) {
  const auto record = [](const std::string& line) { Record("FAKE_JAVA_LOG", line); };
  for (int i = 0; i < argc; ++i) record("argument " + std::string(argv[i]));
  record("in " + std::filesystem::current_path().string());
  Pause(Scenario("FAKE_JAVA", "sleeps"));
  for (int i = 0; i < 60000 && Scenario("FAKE_JAVA", "waits"); ++i) {
    if (std::filesystem::exists("end")) break;
    Pause(10);
  }
  record("done");
  return Scenario("FAKE_JAVA", "exit").value_or(0);
}
