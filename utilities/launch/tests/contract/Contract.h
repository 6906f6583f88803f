#pragma once
// What the contract tests share. They state what the launcher relies on in each call of Win32, and
// run against the host layer and against Windows alike. Files are made in the current directory.

#include <winsock2.h>
#include <windows.h>

#include <gtest/gtest.h>

#include <string>

// The running test program; main sets it.
extern std::string g_Program;

void WriteText(const std::string& path, const std::string& text);
std::string ReadText(const std::string& path);

// That a call failed with this last error.
testing::AssertionResult Fails(bool isOk, DWORD error);

// Runs this program as a child with the arguments; see main for what it can do.
BOOL StartSelf(const std::string& arguments, PROCESS_INFORMATION& child);

// --- What the platform must say: Platform_<platform>.cpp ---

using PeerSocket = decltype(::socket(0, 0, 0));
void ClosePeer(PeerSocket socket);
// False under Wine, which shuts a socket down before it closes it.
bool CanPeerReset();

// Makes the entries of the registry text file those of the registry.
void LoadRegistry(const std::string& file);
