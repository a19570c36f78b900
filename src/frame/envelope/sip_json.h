// The message envelope: what the host and the module hand to each other, and what the task queue holds.
//
// A JSON document of the keys in contract/envelope.h and a cursor that selects one command.
//
// An envelope has no lock; one thread owns it at a time. Nothing a host puts into one makes an operation
// fail: what is missing or of the wrong type reads as "not there", and writers leave an envelope alone that
// lacks "SIP" or "CMD". Of equal keys the first counts. Running out of memory is not handled.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "contract/envelope.h"
#include "frame/json/json_value.h"

namespace em {

// The layout is part of the interface with the host: the fields come first, in this order, and nothing is
// virtual.
struct SipJson {
    char* text = nullptr; // owned, from malloc, or null; copied along and never looked at
    JsonValue root;
    int32_t cursor = 0; // the command that the operations below work on

    SipJson() = default;
    SipJson(const SipJson& other);
    // A source without text leaves the destination its own. Assigning an envelope to itself changes nothing.
    SipJson& operator=(const SipJson& other);
    ~SipJson();

    // Writers: a member that is there keeps its place, a new one comes last, and where one is removed, the
    // last takes its place; so of equal keys another one may count then.

    // {"SIP":{"V":1,"CMD":[]}}; cursor and text stay.
    void InitEnvelope();
    // The command at the cursor, made where it is missing: "CMD" grows by empty objects up to the cursor, and
    // what is no object there becomes an empty one. Null, and nothing changed, without "SIP" or "CMD", and
    // for a cursor that is negative or kMostNewCommands or more beyond what "CMD" holds.
    JsonValue* CommandAt();
    // Sets "OC"; "OE" and "OI" when they are not 0, else removes them; "CA"; and "ST" unless it is
    // status::kKeep.
    void SetCommand(uint32_t operationCode, uint32_t extension, uint32_t objectId, uint32_t cabinet,
                    uint32_t newStatus);
    // "OC", "OE" and "OI" alone, by the same rule.
    void SetOpcode(uint32_t operationCode, uint32_t extension, uint32_t objectId);
    void SetUintMember(std::string_view name, uint32_t value);
    void SetStatus(uint32_t status);
    // "DA", then "ST"; any status is written as it is.
    void SetNumberData(uint8_t value, int32_t status);
    // Takes every command out; the cursor stays. Nothing without "CMD".
    void EmptyCommands();
    // "DA" becomes {"RAW":[bytes]}.
    void SetRawData(const uint8_t* bytes, uint32_t length);

    static constexpr int64_t kMostNewCommands = 65536;

    // Readers.

    // A number's low 32 bits, or the number in a text ("0x1F", "017", "15"); anything else gives the default.
    [[nodiscard]] uint32_t GetUint(std::string_view name, uint32_t fallback) const;
    // The operation code of a command that has one: a number or a text.
    [[nodiscard]] bool GetOpcode(uint32_t& operationCode) const;
    [[nodiscard]] bool HasMember(std::string_view name) const; // a null counts
    [[nodiscard]] bool HasData() const;
    [[nodiscard]] JsonType GetDataType() const; // Null without "DA"
    // An object that is no block of bytes, or a list whose first element is an object.
    [[nodiscard]] bool IsStructuredData() const;

    // What the data takes as a block of bytes: a text with its NUL, 8 for any integer, 1 for a boolean, a
    // list of texts with a NUL each and one more, a list of numbers with the smallest of 1, 2, 4 and 8 for
    // each.
    [[nodiscard]] size_t GetDataLength() const;
    // The bytes themselves, which for numbers are 1, 2, 4 or 8 in little-endian order, and none for a list of
    // numbers. False, with no bytes, for null, negative and non-integral numbers and without "DA".
    [[nodiscard]] bool GetDataBytes(std::vector<uint8_t>& bytes) const;
    // How many bytes that would be.
    [[nodiscard]] size_t GetDataByteCount() const;
    // A number of 32 bits, a boolean, or a block of 1, 2 or 4 bytes in little-endian order.
    [[nodiscard]] bool GetDataUint(uint32_t& value) const;
    // A text replaces what the string holds, a block of bytes is appended to it.
    [[nodiscard]] bool GetDataString(std::string& value) const;
    // A copy of an object "DA", null for any other.
    void GetDataObject(JsonValue& value) const;
    // Whether the status is one of success: 0, 12, 21 or 255.
    [[nodiscard]] bool IsSuccess() const;
    // A status of success, and data that is a number or has a length.
    [[nodiscard]] bool HasValidData() const;

    // A setting in an answer: GetDataUint, or a text that begins with a digit. Other texts are no number;
    // read as 0 they would mean "now".
    [[nodiscard]] bool GetAnswerUint(uint32_t& value) const;
    // A text in an answer: GetDataString up to its first NUL, since a block of bytes brings its terminator
    // along.
    [[nodiscard]] bool GetAnswerText(std::string& value) const;

    // Whether this is an envelope of a version that is understood: the root is an object, and a "V" in it
    // is 1.
    [[nodiscard]] bool CheckEnvelope() const;

    [[nodiscard]] size_t CommandCount() const;
    // The command at the cursor, null when there is none.
    [[nodiscard]] const JsonValue* FindCommand() const;
    // Its member of that name, null when there is none.
    [[nodiscard]] const JsonValue* FindMember(std::string_view name) const;
    [[nodiscard]] const JsonValue* FindData() const { return FindMember(key::Data); }
};

static_assert(offsetof(SipJson, text) == kEnvelopeTextOffset && sizeof(SipJson) == kEnvelopeSize);
static_assert(offsetof(SipJson, root) == kEnvelopeDocumentOffset);
static_assert(offsetof(SipJson, cursor) == kEnvelopeCursorOffset);

} // namespace em
