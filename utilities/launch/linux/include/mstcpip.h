#pragma once
// TCP requests of WSAIoctl.

#include "winsock2.h"

constexpr DWORD SIO_TCP_INITIAL_RTO = 0x98000011;
constexpr BYTE TCP_INITIAL_RTO_NO_SYN_RETRANSMISSIONS = 0xFE;

struct TCP_INITIAL_RTO_PARAMETERS {
  WORD Rtt;  // milliseconds
  BYTE MaxSynRetransmissions;
};
