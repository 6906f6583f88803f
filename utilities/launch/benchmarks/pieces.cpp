// Benchmarks of single parts: framing over a loopback connection, the environment's property text,
// and command line splitting.
#include <benchmark/benchmark.h>

#include <memory>
#include <thread>

#include "CommandLineText.h"
#include "Framing.h"
#include "assistant/AssistantWire.h"
#include "assistant/PropertyMap.h"
#include "platform/Socket.h"

namespace {

// A connection to `peer`, which runs on its own thread until the connection is closed.
template <typename Peer>
class LoopbackConnection {
 public:
  explicit LoopbackConnection(Peer peer) {
    const int listener = Check(::socket(AF_INET, SOCK_STREAM, 0), "socket");
    sockaddr_in address = LoopbackAddress(0);
    socklen_t size = sizeof address;
    Check(::bind(listener, reinterpret_cast<sockaddr*>(&address), size), "bind");
    Check(::listen(listener, 1), "listen");
    Check(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
    m_Wire = std::make_unique<AssistantWire>(
        std::make_unique<Socket>("127.0.0.1", ntohs(address.sin_port), SOCK_STREAM, AF_INET, 0));
    const int descriptor = Check(::accept(listener, nullptr, nullptr), "accept");
    ::close(listener);
    m_Peer = std::thread([descriptor, peer] {
      peer(descriptor);
      ::close(descriptor);
    });
  }
  ~LoopbackConnection() {
    m_Wire.reset();
    m_Peer.join();
  }

  AssistantWire& Wire() { return *m_Wire; }

 private:
  SocketStartup m_Sockets;
  std::unique_ptr<AssistantWire> m_Wire;
  std::thread m_Peer;
};

void SetCharacters(benchmark::State& state, std::size_t perIteration) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(perIteration));
}

void ReceiveString(benchmark::State& state) {
  const std::string line(static_cast<std::size_t>(state.range(0)), 'x');
  LoopbackConnection connection([&line](int descriptor) {
    std::string block;
    while (block.size() < kBlockSize) {
      AppendString(block, line);
    }
    while (::send(descriptor, block.data(), block.size(), MSG_NOSIGNAL) > 0) {
    }
  });
  std::string text;
  for (auto _ : state) {
    if (!connection.Wire().ReceiveString(text)) {
      state.SkipWithError("the connection broke");
      break;
    }
  }
  SetCharacters(state, line.size());
}
BENCHMARK(ReceiveString)->Arg(40)->Arg(4000);

void SendString(benchmark::State& state) {
  const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
  LoopbackConnection connection([](int descriptor) {
    static char block[kBlockSize];
    while (::recv(descriptor, block, sizeof block, 0) > 0) {
    }
  });
  for (auto _ : state) {
    if (!connection.Wire().SendString(text)) {
      state.SkipWithError("the connection broke");
      break;
    }
  }
  SetCharacters(state, text.size());
}
BENCHMARK(SendString)->Arg(40)->Arg(4000);

PropertyMap MakeProperties(std::int64_t count) {
  PropertyMap properties;
  for (std::int64_t i = 0; i < count; ++i) {
    properties.SetProperty("VARIABLE_" + std::to_string(i), "/some/directory=100%|/and/another");
  }
  return properties;
}

void FormatProperties(benchmark::State& state) {
  const PropertyMap properties = MakeProperties(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(properties.Format());
  }
  SetCharacters(state, properties.Format().size());
}
BENCHMARK(FormatProperties)->Arg(1000);

void ParseProperties(benchmark::State& state) {
  const std::string text = MakeProperties(state.range(0)).Format();
  for (auto _ : state) {
    PropertyMap properties;
    properties.Parse(text);
    benchmark::DoNotOptimize(properties);
  }
  SetCharacters(state, text.size());
}
BENCHMARK(ParseProperties)->Arg(1000);

void SplitCommandLine(benchmark::State& state) {
  std::string line = "java";
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    line += R"( "an argument with \"quotes\"" C:\and\separators)";
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(linux::SplitCommandLine(line));
  }
  SetCharacters(state, line.size());
}
BENCHMARK(SplitCommandLine)->Arg(1000);

}  // namespace

BENCHMARK_MAIN();
