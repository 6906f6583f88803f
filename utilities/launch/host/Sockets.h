#pragma once

namespace host {

// Sends what the calling thread's sends left gathered. Every call that can block its thread makes
// this one first, so that nobody waits for bytes that wait here.
void SendGathered();

}  // namespace host
