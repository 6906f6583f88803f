#include <winsock2.h>
#include <gmock/gmock.h>

#include "CommandLineParameters.h"
#include "Connections.h"
#include "assistant/AssistantConnection.h"
#include "assistant/AssistantWire.h"
#include "assistant/BuildCommands.h"
#include "assistant/PropertyMap.h"

namespace {

class AssistantWires : public Connections {};
class AssistedCommand : public Connections {};

}  // namespace

TEST_F(AssistantWires, SendAnyCodePointOfFourBytes) {
  AssistantWire wire(Join());
  const std::pair<int, std::string> rows[] = {{0x7F, "\x7F"},
                                              {0x80, "\xC2\x80"},
                                              {0x7FF, "\xDF\xBF"},
                                              {0x800, "\xE0\xA0\x80"},
                                              {0xFFFF, "\xEF\xBF\xBF"},
                                              {0x10000, "\xF0\x90\x80\x80"},
                                              {0x1FFFFF, "\xF7\xBF\xBF\xBF"}};
  std::string expected;
  for (const auto& [code, bytes] : rows) {
    EXPECT_TRUE(wire.SendChar(code)) << code;
    expected += bytes;
  }
  EXPECT_FALSE(wire.SendChar(0x200000));
  EXPECT_FALSE(wire.SendChar(-1));
  EXPECT_TRUE(wire.Flush());
  EXPECT_EQ(m_Peer.Receive(expected.size()), expected);
}

TEST(PropertyMap, ParsesAndFormats) {
  const std::pair<const char*, const char*> rows[] = {
      {"version=1.2||junk|cwd=C:%5cx", "cwd=C:\\x|version=1.2"},
      {"|b=1|a=2|B=3|\xE9=4|", "B=3|a=2|b=1|\xE9=4"},
      {"a=b=c", "a=b%3dc"},
      {"k=1|k=2", "k=2"},
      {"n=|=v", "=v|n="},
      {"a%3Db%7C=%7c%0a%0A%25", "a%3db%7c=%7c%0a%0a%25"},
      {"a=%253d%4%41b%4", "a=%253d@41b%254"},
      {"%61%4a%4B%4C%4d%5F=%39%38%37%36%35%34%33%32%31%30", "aJKLM_=9876543210"},
  };
  for (const auto& [text, formatted] : rows) {
    PropertyMap map;
    map.Parse(text);
    EXPECT_EQ(map.Format(), formatted) << text;
  }
  PropertyMap map;
  map.SetProperty("b", "old");
  map.SetProperty("c", "kept");
  map.Parse("b=new|a=1");
  EXPECT_EQ(map.GetProperty("b") + map.GetProperty("unknown"), "new");
  EXPECT_EQ(map.Format(), "a=1|b=new|c=kept|unknown=");
  EXPECT_EQ(UnescapeProperty("%zz%1g%g1%%25"), std::string("\0\x10\x01\x02\x35", 5));
}

TEST_F(AssistedCommand, ThatCannotBeSentOpensNoKeepAlive) {
  const char* arguments[] = {"Torvel", "Build", "--debug"};
  Singleton<CommandLineParameters>::GetInstance().Parse(3, arguments);
  std::unique_ptr<Socket> socket = Join();
  m_Peer.Reset();
  char none = 0;
  EXPECT_LE(socket->Receive(&none, 1, 0), 0);  // waits for the reset
  AssistantConnection assistant(std::move(socket));
  testing::internal::CaptureStdout();
  EXPECT_EQ(RunAssistedCommand(assistant), 666);
  EXPECT_THAT(testing::internal::GetCapturedStdout(),
              testing::AllOf(testing::HasSubstr("Send 'Build'"),
                             testing::Not(testing::HasSubstr("KeepAlive"))));
}
