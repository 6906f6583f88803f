#pragma once
// The build verbs: handed to the resident Assistant, or run as a Java command when it cannot be
// used.

class AssistantConnection;

// The command handler of every build verb.
int RunBuildCommand();

// Sends the command to an Assistant of the launcher's version, relays the build's output and
// returns its return code; 666 when that never arrived.
int RunAssistedCommand(AssistantConnection& assistant);
