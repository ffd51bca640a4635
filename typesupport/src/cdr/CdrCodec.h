#pragma once

// The CDR codec of the transport: every message record to and from the payload ROS 2 exchanges,
// little-endian plain CDR behind the encapsulation header `00 01 00 00`. Driven by the records'
// field lists alone, so a new record needs no codec code.
//
//   std::vector<std::uint8_t> payload(cdr::encodedSize(message));
//   cdr::encode(message, payload.data(), payload.size());
//   const cdr::DecodeResult result = cdr::decode(payload.data(), payload.size(), scratch);

#include "cdr/CdrBounds.h"
#include "cdr/CdrDecode.h"
#include "cdr/CdrEncode.h"
#include "cdr/CdrPrimitives.h"
#include "cdr/CdrSize.h"
#include "cdr/DecodeResult.h"
