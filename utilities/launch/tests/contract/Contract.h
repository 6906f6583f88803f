#pragma once
// What the contract tests share. They state what the launcher relies on in each call of Win32, and
// run against the host layer and against Windows alike.

#include <winsock2.h>
#include <windows.h>

#include <string>

// The running test program, and its folder; main sets them. Files are made in the current
// directory.
extern std::string g_Program;
extern std::string g_Folder;

// Writes the text; reads a file whole.
void WriteText(const std::string& path, const std::string& text);
std::string ReadText(const std::string& path);

// Runs this program as a child with the arguments; see main for what it can do.
BOOL StartSelf(const std::string& arguments, PROCESS_INFORMATION& child);

// --- What the platform must say: Platform_<platform>.cpp ---

using PeerSocket = decltype(::socket(0, 0, 0));
void ClosePeer(PeerSocket socket);
// False under Wine, which shuts a socket down before it closes it.
bool CanPeerReset();

// Makes the entries of the registry text file those of the registry.
void LoadRegistry(const std::string& file);
