#include <functional>
#include <memory>

#include "Loopback.h"
#include "assistant/AssistantConnection.h"
#include "assistant/PropertyMap.h"

namespace {

const string kTooLong = "UTF sequences longer than four bytes not handled, aborting";
const string kEof = "Assistant: EOF\n";
const string kStatus = "00 00 00 06 53 74 61 74 75 73";

// The bytes written in a text such as "00 E9".
string Bytes(const string& hex) {
  string bytes;
  for (size_t i = 0; i < hex.size(); i += 3) {
    bytes += static_cast<char>(strtol(hex.c_str() + i, nullptr, 16));
  }
  return bytes;
}

// Both ends of a connection; the far one has sent `hex` and ended its half of the stream.
struct Wire {
  SocketStartup m_Startup;
  FarEnd m_Far;
  std::unique_ptr<AssistantConnection> m_Near = std::make_unique<AssistantConnection>(
      std::make_unique<Socket>("127.0.0.1", m_Far.GetPort(), SOCK_STREAM, AF_INET, 0));

  explicit Wire(const string& hex) {
    m_Far.Accept();
    m_Far.SendLast(Bytes(hex));
  }
  AssistantConnection* operator->() { return m_Near.get(); }
  // What was not read.
  string Rest() {
    string rest;
    for (int octet = m_Near->ReceiveByte(); octet != -1; octet = m_Near->ReceiveByte()) {
      rest += static_cast<char>(octet);
    }
    return rest;
  }
  // What was sent; ends the connection.
  string Sent() {
    m_Near.reset();
    return m_Far.ReceiveAll();
  }
};

}  // namespace

TEST(Wire, Sends) {
  const auto integer = [](int32_t value) {
    return [=](Wire& wire) { return wire->SendInt(value); };
  };
  const auto text = [](const string& value) {
    return [=](Wire& wire) { return wire->SendString(value); };
  };
  const auto character = [](int code) { return [=](Wire& wire) { return wire->SendChar(code); }; };
  const Rows<std::function<bool(Wire&)>, string, string> rows = {
      {integer(0x12345678), "12 34 56 78", ""},
      {integer(INT32_MIN), "80 00 00 00", ""},
      {text("Status"), kStatus, "Assistant: Send 'Status'\n"},
      {text("A\xE9"), "00 00 00 02 41 C3 A9", "Assistant: Send 'A\xE9'\n"},
      {text({'%', 's', '\0', '\xFF'}), "00 00 00 04 25 73 00 C3 BF", "Assistant: Send '%s'\n"},
      {character(0), "00", ""},
      {character(0x7FF), "DF BF", ""},
      {character(0xFFFF), "EF BF BF", ""},
      {character(0x1FFFFF), "F7 BF BF BF", ""},
      {character(0x200000), "", kTooLong},
  };
  for (const auto& [send, bytes, printed] : rows) {
    Wire wire("");
    EXPECT_EQ(Printed([&, &act = send, &ok = bytes] { EXPECT_EQ(act(wire), !ok.empty()); }),
              printed);
    EXPECT_EQ(wire.Sent(), Bytes(bytes));
  }
}

TEST(Wire, JudgesTheBytesOfACharacterInTheirOrder) {
  const Rows<string, int, string, string> rows = {
      {"41 42", 0x41, "", "42"},
      {"C3 A9 42", 0xE9, "", "42"},
      {"E2 82 AC 42", 0x20AC, "", "42"},
      {"F7 BF BF BF 42", 0x1FFFFF, "", "42"},
      {"C0 80", 0, "", ""},  // overlong forms pass
      {"", -1, kEof, ""},
      {"F0 9F 98", -1, kEof, ""},
      {"C3 41 42", -1, "", "42"},
      {"F0 9F 98 C3 42", -1, "", "42"},
      {"80 80 41 42", -1, "", "42"},
      {"F8 80 80 80 42", -1, kTooLong, "42"},
      {"FF 80 80 FF 42", -1, "", "42"},
  };
  for (const auto& [bytes, code, printed, rest] : rows) {
    Wire wire(bytes);
    int received = 0;
    EXPECT_EQ(Printed([&] { received = wire->ReceiveChar(); }), printed) << bytes;
    EXPECT_EQ(received, code) << bytes;
    EXPECT_EQ(wire.Rest(), Bytes(rest)) << bytes;
  }
}

TEST(Wire, ReceivesStrings) {
  const string reading = "Assistant: Reading ", read = " characters\nAssistant: Received '";
  const Rows<string, bool, string, string, string> rows = {
      {"00 00 00 02 E2 82 AC 41 42", true, "\xAC\x41", reading + "2" + read + "\xAC\x41'\n", "42"},
      {"00 00 00 02 41 00", true, {'A', '\0'}, reading + "2" + read + "A'\n", ""},
      {"00 00 00 00 42", true, "", reading + "0" + read + "'\n", "42"},
      {"FF FF FF FF 42", false, "before", "Assistant: Null string\n", "42"},
      {"FF FF FF FE 42", true, "", reading + "-2" + read + "'\n", "42"},
      {"80 00 00 00", true, "", reading + "-2147483648" + read + "'\n", ""},
      {"00 00 00", false, "before", "", ""},
      {"7F FF FF FF 41", false, "A", reading + "2147483647 characters\n" + kEof, ""},
      {"00 00 00 03 41 C3 41 42", false, "A", reading + "3 characters\n", "42"},
  };
  for (const auto& [bytes, ok, text, printed, rest] : rows) {
    Wire wire(bytes);
    string received = "before";
    EXPECT_EQ(Printed([&, &expected = ok] { EXPECT_EQ(wire->ReceiveString(received), expected); }),
              printed);
    EXPECT_EQ(received, text) << bytes;
    EXPECT_EQ(wire.Rest(), Bytes(rest)) << bytes;
  }
}

TEST(Wire, AnAssistantThatTellsItsVersionOrNothingIsTakenAsItIs) {
  const string sent = "Assistant: Send 'Status'\n", failed = "Assistant: I/O Error\n";
  const Rows<string, string> rows = {
      {"FF FF FF FF", sent + "Assistant: Null string\n" + failed},
      {"00 00", sent + failed},
      {"00 00 00 0E 76 65 72 73 69 6F 6E 3D 32 2E 38 2E 31 30",
       sent + "Assistant: Reading 14 characters\nAssistant: Received 'version=2.8.10'\n"},
  };
  for (const auto& [bytes, printed] : rows) {
    Wire wire(bytes);
    EXPECT_EQ(Printed([&] {
                EXPECT_TRUE(wire->EnsureVersion("absent/", "absent/"));
                wire->CloseKeepAlive();  // there is none yet
              }),
              printed);
    EXPECT_EQ(wire.Sent(), Bytes(kStatus));
  }
}

TEST(PropertyMap, ParsesAndFormats) {
  const Rows<const char*, const char*> rows = {
      {"", ""},
      {"version=2.8.10||junk|cwd=C:%5cx", "cwd=C:\\x|version=2.8.10"},
      {"cwd=C:\\a%3db|version=2.8.10", "cwd=C:\\a%3db|version=2.8.10"},
      {"|b=1|a=2|B=3|\xE9=4|", "B=3|a=2|b=1|\xE9=4"},
      {"a=b=c", "a=b%3dc"},
      {"=x", "=x"},
      {"k=1|k=2", "k=2"},
      {"a%3Db%7C=%7c%0a%0A%25", "a%3db%7c=%7c%0a%0a%25"},
      {"a=\r\"\xFF\t", "a=\r\"\xFF\t"},
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
}

TEST(PropertyMap, UnescapesEitherCaseAndWhatIsNoDigit) {
  EXPECT_EQ(UnescapeProperty("%3D%3d%6a%6A%ff"), "==jj\xFF");
  EXPECT_EQ(UnescapeProperty("%zz%1g%g1%%25"), string("\0\x10\x01\x02\x35", 5));
  EXPECT_EQ(UnescapeProperty("%253d%4%41a%4"), "%3d@41a%4");
  EXPECT_EQ(UnescapeProperty("%"), "%");
}
