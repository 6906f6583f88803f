#pragma once
// Build verbs: sent to the resident Assistant, with the Java command as the fallback.

class AssistantConnection;

// The command handler of every build verb.
int RunBuildCommand();

// Sends the command to an Assistant of the launcher's version, relays its output and returns the
// build's return code, or 666 if none arrives.
int RunAssistedCommand(AssistantConnection& assistant);
