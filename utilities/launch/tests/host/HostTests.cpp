// Copies, children, program search and Java as this host has them.
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <thread>

#include "JavaRuntime.h"
#include "Support.h"

namespace {

const std::string kLong(200000, 's');

class Copy : public InScratch {
 protected:
  Copy() {
    WriteText("source", kLong);
    WriteText("target", "old");
  }
};

class Child : public InScratch {
 protected:
  // Runs a program to its end: the exit code plus 1000, or the error that kept it from starting.
  static DWORD Run(const std::string& program, const std::string& line) {
    PROCESS_INFORMATION child = {};
    if (!Start(program, line, child)) return GetLastError();
    DWORD code = 0;
    EXPECT_EQ(WaitForSingleObject(child.hProcess, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(GetExitCodeProcess(child.hProcess, &code));
    CloseHandle(child.hProcess);
    CloseHandle(child.hThread);
    return code + 1000;
  }
  static DWORD Shell(const std::string& script) {
    return Run("/bin/sh", "sh -c \"" + script + "\"");
  }
};

// Changes PATH and gives it back.
class Search : public InScratch {
 protected:
  ~Search() override { ::setenv("PATH", m_Path.c_str(), 1); }
  const std::string m_Root = fs::current_path();
  const std::string m_Path = std::getenv("PATH");
};

}  // namespace

TEST_F(Copy, ReaderSeesTheOldOrTheNewFileWhole) {
  const std::string other(150000, 'o');
  WriteText("other", other);
  WriteText("target", other);
  std::thread writer([] {
    for (int round = 0; round < 200; ++round) {
      EXPECT_TRUE(CopyFileA(round % 2 == 0 ? "other" : "source", "target", FALSE));
    }
  });
  for (int round = 0; round < 200; ++round) {
    const std::string text = ReadText("target");
    EXPECT_TRUE(text == kLong || text == other) << text.size();
  }
  writer.join();
}

TEST_F(Copy, FollowsLinksKeepsPermissionsAndRefusesWhatIsNoFile) {
  ::chmod("source", 0554);
  fs::create_symlink("target", "link");
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  EXPECT_TRUE(CopyFileA("source", "link", FALSE));
  EXPECT_TRUE(fs::is_symlink("link"));
  EXPECT_EQ(ReadText("target"), kLong);
  EXPECT_EQ(fs::status("target").permissions(), fs::perms(0554));
  EXPECT_TRUE(Fails(CopyFileA("pipe", "new", FALSE), ERROR_ACCESS_DENIED));
  EXPECT_TRUE(Fails(CopyFileA("source", "pipe", FALSE), ERROR_ACCESS_DENIED));
  // Which may not be written now, for the superuser either.
  EXPECT_TRUE(Fails(CopyFileA("source", "target", FALSE), ERROR_ACCESS_DENIED));
}

TEST_F(Child, EndsWithEightBitsOrASignal) {
  EXPECT_EQ(Shell("exit 255"), 1255u);
  EXPECT_EQ(Shell("kill -9 $$"), 1128u + SIGKILL);
  ::signal(SIGCHLD, SIG_IGN);  // as some parents leave it
  EXPECT_EQ(Shell("exit 4"), 1004u);
}

TEST_F(Child, HasTheStandardStreamsNoOtherAndNoBlockedSignal) {
  std::ofstream open("other.txt");
  sigset_t blocked;
  sigset_t before;
  ::sigfillset(&blocked);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  EXPECT_EQ(Shell("(ls /proc/$$/fd; grep SigBlk /proc/$$/status) > child.txt"), 1000u);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(ReadText("child.txt"), "0\n1\n2\nSigBlk:\t0000000000000000\n");
}

TEST_F(Child, IsAScriptOrAJavaWithAdaptedOptions) {
  WriteText("script.exe", "#!/bin/sh\nexit $#\n", fs::perms::owner_all);
  WriteText("home/bin/java", "#!/bin/sh\necho \"$*\" > java.txt\n", fs::perms::owner_all);
  WriteText("home/release", "JAVA_VERSION=\"17\"\n");
  EXPECT_EQ(Run(".\\home/../script.exe", "x \"a b\" c"), 1002u);
  const std::string options = "-Djava.class.path=a;b -XX:+UseConcMarkSweepGC";
  EXPECT_EQ(Run("home\\bin\\java", "java " + options + " M c;d"), 1000u);
  EXPECT_EQ(ReadText("java.txt"), "-Djava.class.path=a:b M c;d\n");
}

TEST_F(Search, GoesOwnDirectoryCurrentDirectoryPath) {
  WriteText("first/tool.exe", "not executable");
  WriteText("first/other", "", fs::perms::owner_all);
  WriteText("first/other.exe", "", fs::perms::owner_all);
  fs::create_directories("second/tool.exe");
  WriteText("second/tool", "", fs::perms::owner_all);
  ::setenv("PATH", (m_Root + "/none::" + m_Root + "/first:" + m_Root + "/second/").c_str(), 1);
  const auto find = [](const std::string& name) -> std::string {
    char path[4096];
    return SearchPathA(nullptr, name.c_str(), ".exe", sizeof path, path, nullptr) ? path : "";
  };
  EXPECT_EQ(find("tool"), m_Root + "/second/tool");
  EXPECT_EQ(find("other"), m_Root + "/first/other.exe");
  WriteText("tool", "", fs::perms::owner_all);
  EXPECT_EQ(find("tool"), m_Root + "/tool");
  EXPECT_NE(find("host_tests"), "");
}

TEST_F(Search, JavaOfferedIsThatOfJavaHomeElseOfThePath) {
  WriteText("new/lib/server/libjvm.so", "");
  WriteText("new/release", "A=\"b\"\nJAVA_VERSION=\"21-ea\"\n");
  WriteText("new/bin/java", "", fs::perms::owner_all);
  WriteText("old/jre/lib/amd64/server/libjvm.so", "");
  WriteText("old/release", "JAVA_VERSION=\"1.8.0_392\"");
  fs::create_directory("links");
  fs::create_symlink("../new/bin/java", "links/java");
  const struct {
    std::string home, path, version, library;
  } rows[] = {{m_Root + "/new", "", "21", m_Root + "/new/lib/server/libjvm.so"},
              {"", "/none:" + m_Root + "/links", "21", m_Root + "/new/lib/server/libjvm.so"},
              {m_Root + "/old", "", "1.8", m_Root + "/old/jre/lib/amd64/server/libjvm.so"}};
  for (const auto& row : rows) {
    ::setenv("JAVA_HOME", row.home.c_str(), 1);
    ::setenv("PATH", (m_Root + row.path).c_str(), 1);
    const host::JavaRuntime java = host::FindJavaRuntime();
    EXPECT_EQ(java.version, row.version);
    EXPECT_EQ(java.library, row.library);
  }
}
