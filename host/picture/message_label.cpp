#include "host/picture/message_label.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>

#include <fmt/format.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "contract/envelope.h"
#include "contract/operation_codes.h"
#include "contract/settings.h"
#include "host/common/visible_text.h"

namespace volad_dev {
namespace {

using Json = rapidjson::Value;
constexpr uint32_t kMostDecimal = 999; // larger codes are written in hexadecimal, as the pages have them

const Json* find(const Json* object, std::string_view key) {
    if (object == nullptr || !object->IsObject()) {
        return nullptr;
    }
    const auto member = object->FindMember(key.data());
    return member == object->MemberEnd() ? nullptr : &member->value;
}

// Texts with the prefixes of C count as numbers, too.
std::optional<uint32_t> numberOf(const Json* value) {
    if (value != nullptr && value->IsUint()) {
        return value->GetUint();
    }
    if (value == nullptr || !value->IsString()) {
        return std::nullopt;
    }
    std::string_view text(value->GetString(), value->GetStringLength());
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const int base = hexadecimal ? 16 : text.starts_with('0') ? 8 : 10;
    text.remove_prefix(hexadecimal ? 2 : 0);
    uint32_t number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return read.ec == std::errc() ? std::optional(number) : std::nullopt;
}

template <class Rows, class Value, class Member>
const char* nameIn(const Rows& rows, Member member, Value value) {
    const auto row = std::ranges::find(rows, value, member);
    return row == rows.end() ? nullptr : row->name;
}

std::string operationText(const Json* command) {
    const std::optional<uint32_t> code = numberOf(find(command, em::key::OperationCode));
    if (!code) {
        return "no operation code";
    }
    const em::Operation* const operation = em::findOperation(*code);
    const char* name = operation != nullptr ? operation->text : nullptr;
    if (code == em::opcode::kHostSettings) {
        const auto item = numberOf(find(command, em::key::Extension));
        const char* const setting = nameIn(em::kSettings, &em::Setting::item, item.value_or(0));
        name = setting != nullptr ? setting : name;
    }
    std::string text = *code > kMostDecimal ? fmt::format("0x{:X}", *code) : fmt::format("{}", *code);
    return name != nullptr ? text + ' ' + name : text;
}

std::string dataText(const Json* data) {
    if (data == nullptr) {
        return "";
    }
    if (data->IsString()) {
        return fmt::format(": {}", std::string_view(data->GetString(), data->GetStringLength()));
    }
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    data->Accept(writer);
    return fmt::format(": {}", std::string_view(buffer.GetString(), buffer.GetSize()));
}

std::string statusText(const Json* value) {
    const uint32_t status = numberOf(value).value_or(em::status::kMissing);
    return status == em::status::kAccepted || status == em::status::kMissing
               ? ""
               : fmt::format(" (ST {})", status);
}

} // namespace

std::string messageLabel(std::string_view envelope) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(envelope.data(), envelope.size());
    const Json* const commands =
        document.HasParseError() ? nullptr : find(find(&document, em::key::Envelope), em::key::Commands);
    const Json* const command =
        commands != nullptr && commands->IsArray() && !commands->Empty() ? &(*commands)[0] : nullptr;
    return visibleText(operationText(command) + dataText(find(command, em::key::Data)) +
                       statusText(find(command, em::key::Status)));
}

} // namespace volad_dev
