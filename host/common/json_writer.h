// A JSON document, written from front to back.
#pragma once

#include <concepts>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include "host/common/visible_text.h"

namespace volad_dev {

class JsonWriter {
public:
    // Of each document's shape; goes up when a reader of the old one would be misled.
    static constexpr int kSchema = 1;

    JsonWriter() { m_writer.SetIndent(' ', 2); }

    // Without a name: an element of an array, or the document itself.
    void beginObject(const char* name = nullptr) { key(name).StartObject(); }
    void endObject() { m_writer.EndObject(); }
    void beginArray(const char* name = nullptr) { key(name).StartArray(); }
    void endArray() { m_writer.EndArray(); }
    // The object that each document is; ended with endObject.
    void beginDocument() {
        beginObject();
        member("schema", kSchema);
    }

    // Text from outside: what is no UTF-8 is escaped (visible_text.h).
    void member(const char* name, std::string_view text) {
        const std::string valid = utf8Text(text);
        key(name).String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
    }
    void member(const char* name, const char* text) { member(name, std::string_view(text)); }
    void member(const char* name, const std::string& text) { member(name, std::string_view(text)); }
    void member(const char* name, bool value) { key(name).Bool(value); }
    void member(const char* name, double value) { key(name).Double(value); }
    void member(const char* name, std::nullptr_t) { key(name).Null(); }
    template <std::integral Number>
    void member(const char* name, Number value) {
        if constexpr (std::signed_integral<Number>) {
            key(name).Int64(value);
        } else {
            key(name).Uint64(value);
        }
    }
    template <class Value>
    void member(const char* name, const std::optional<Value>& value) {
        value ? member(name, *value) : member(name, nullptr);
    }
    // A value that is JSON already.
    void json(const char* name, std::string_view value) {
        key(name).RawValue(value.data(), value.size(), rapidjson::kObjectType);
    }
    // An element of an array.
    template <class Value>
    void element(const Value& value) {
        member(nullptr, value);
    }

    // What was written, with a line end.
    [[nodiscard]] std::string document() const {
        return std::string(m_buffer.GetString(), m_buffer.GetSize()) + '\n';
    }

private:
    using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

    Writer& key(const char* name) {
        if (name != nullptr) {
            m_writer.Key(name);
        }
        return m_writer;
    }

    rapidjson::StringBuffer m_buffer;
    Writer m_writer{m_buffer};
};

} // namespace volad_dev
