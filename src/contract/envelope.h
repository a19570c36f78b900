// The message envelope's keys and statuses. What host and module hand to each other is one JSON document,
//   {"SIP":{"V":1,"CMD":[{"OC":517,"CA":12,"ST":0,"DA":3}]}}
// with a cursor that selects one command. Keys are case-sensitive; of equal keys the first counts. A
// command's numbers but "DA" may also be texts with the prefixes of C ("0x205", "01005", "517"). "DA" may be
// one in the answer to a question, where it begins with a digit; the reason of a shutdown request may not.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace em {

// What an envelope is in memory, in bytes: a text (char*, from malloc or null, not used), the document (a
// value of RapidJSON in UTF-8 with its CrtAllocator, so all of it from malloc), the cursor (int32_t). Both
// sides may change the document with that library; who made the envelope frees it.
inline constexpr size_t kEnvelopeTextOffset = 0;
inline constexpr size_t kEnvelopeDocumentOffset = 8;
inline constexpr size_t kEnvelopeCursorOffset = 24;
inline constexpr size_t kEnvelopeSize = 32;

namespace key {
// The document.
inline constexpr std::string_view Envelope = "SIP";
inline constexpr std::string_view Version = "V";
inline constexpr std::string_view Commands = "CMD";
// A command. Compared with all 32 bits; the trace shows the low 16 of the first three, the low 8 of "ST".
inline constexpr std::string_view OperationCode = "OC"; // operation_codes.h
inline constexpr std::string_view Extension = "OE";     // of the operation code, absent when 0
inline constexpr std::string_view ObjectId = "OI";      // absent when 0
inline constexpr std::string_view Cabinet = "CA";
inline constexpr std::string_view Status = "ST";
inline constexpr std::string_view MessageId = "MI";
inline constexpr std::string_view Data = "DA"; // number, text, list, object, or {"RAW":[bytes]}
inline constexpr std::string_view Raw = "RAW";
} // namespace key

inline constexpr uint32_t kEnvelopeVersion = 1; // a missing one counts as this

// Values of "ST".
namespace status {
inline constexpr uint32_t kAccepted = 0;
inline constexpr uint32_t kMalformed = 1; // or a code that nobody knows
inline constexpr uint32_t kNoHost = 6;    // a message of the module that was dropped
inline constexpr uint32_t kEnvelopeCheckFailed = 20;
inline constexpr uint32_t kMissing = 22; // what readers assume when "ST" is not there
inline constexpr uint32_t kNotSupported = 25;
inline constexpr uint32_t kNotEchoed = 255; // a shutdown request with it is not sent back to the host
// For writers: "ST" stays as it is.
inline constexpr uint32_t kKeep = 0xFFFFFFFF;
} // namespace status

// The statuses with which an answer's data counts.
inline constexpr std::array<uint32_t, 4> kStatusesOfSuccess = {0, 12, 21, 255};

} // namespace em
