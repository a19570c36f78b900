// An envelope's operations beside json-c, which cannot be linked with jansson: both define json_object_get.
#include <json-c/json.h>

#include "bench/envelope_work.h"

namespace em::bench {
namespace {

struct JsonC {
    struct Free {
        void operator()(json_object* value) const { ::json_object_put(value); }
    };
    using Document = std::unique_ptr<json_object, Free>;

    static json_object* number(int64_t value) { return ::json_object_new_int64(value); }
    static Document set() {
        json_object* const command = ::json_object_new_object();
        ::json_object_object_add(command, "OC", number(517));
        ::json_object_object_add(command, "OE", number(1));
        ::json_object_object_add(command, "OI", number(2));
        ::json_object_object_add(command, "CA", number(3));
        ::json_object_object_add(command, "ST", number(0));
        ::json_object_object_add(command, "DA", number(0x10003));
        json_object* const commands = ::json_object_new_array_ext(1);
        ::json_object_array_add(commands, command);
        json_object* const envelope = ::json_object_new_object();
        ::json_object_object_add(envelope, "V", number(1));
        ::json_object_object_add(envelope, "CMD", commands);
        Document document(::json_object_new_object());
        ::json_object_object_add(document.get(), "SIP", envelope);
        return document;
    }
    static Document copy(const Document& source) {
        json_object* made = nullptr;
        require(::json_object_deep_copy(source.get(), &made, nullptr) == 0, "copy");
        return Document(made);
    }
    // The text is the document's own.
    static std::string_view print(const Document& document) {
        return ::json_object_to_json_string_ext(document.get(), JSON_C_TO_STRING_PLAIN);
    }
};

} // namespace

void addComparisons() {
    compareWith<JsonC>("json-c");
}

} // namespace em::bench
