#pragma once
// What can be asked of a socket of Windows' TCP: none of it here.

#include "winsock2.h"

constexpr DWORD SIO_TCP_INITIAL_RTO = 0x98000011;
constexpr std::uint8_t TCP_INITIAL_RTO_NO_SYN_RETRANSMISSIONS = 0xFE;

struct TCP_INITIAL_RTO_PARAMETERS {
  std::uint16_t Rtt;
  std::uint8_t MaxSynRetransmissions;
};
