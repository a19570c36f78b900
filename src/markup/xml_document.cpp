#include "markup/xml_document.h"

#include <pugixml.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/file_content.h"
#include "base/swallow.h"
#include "base/system.h"
#include "markup/nul_reference.h"
#include "markup/text_encoding.h"

namespace em {
namespace {

constexpr const char* kNoMemory = "memory is short";

struct FileFailure {
    int error;
    XmlLoadResult result;
};

constexpr FileFailure kFileFailures[] = {
    {ENOENT, {"there is no such file", 0, true}},
    {EFBIG, {"it is larger than 16 MiB", 0, false}},
    {ENOTSUP, {"it is no regular file", 0, false}},
    {ENOMEM, {kNoMemory, 0, false}},
};

XmlLoadResult fileFailure(int error) {
    for (const FileFailure& failure : kFileFailures) {
        if (failure.error == error) {
            return failure.result;
        }
    }
    return {"it cannot be read"};
}

bool isElement(const pugi::xml_node& node) {
    return node.type() == pugi::node_element;
}

bool isText(const pugi::xml_node& node) {
    return node.type() == pugi::node_cdata ||
           (node.type() == pugi::node_pcdata &&
            std::strspn(node.value(), " \t\r\n") != std::strlen(node.value()));
}

// Ends the walk at an element that lies too deep. The walk is a loop: the depth is the file's choice, the
// stack may be small.
class DepthCheck final : public pugi::xml_tree_walker {
    bool for_each(pugi::xml_node& node) override {
        return static_cast<unsigned>(depth()) < kDeepestXml || !isElement(node);
    }
};

// What the parser lets pass: not just one document element, text beside it, elements nested without an end.
const char* checkShape(pugi::xml_document& tree) {
    const auto nodes = tree.children();
    if (std::any_of(nodes.begin(), nodes.end(), isText)) {
        return "it has text outside its document element";
    }
    if (std::count_if(nodes.begin(), nodes.end(), isElement) != 1) {
        return "it does not have just one document element";
    }
    DepthCheck deep;
    if (!tree.traverse(deep)) {
        return "its elements are nested deeper than 256 levels";
    }
    return nullptr;
}

} // namespace

XmlDocument::XmlDocument() = default;
XmlDocument::~XmlDocument() = default;

void XmlDocument::clear() {
    m_tree.reset();
    m_text = {};
}

XmlLoadResult XmlDocument::loadFile(const char* path) {
    clear();
    FileContent content;
    const int error = readRegularFile(path, kLargestXmlFile, 0, content);
    return error != 0 ? fileFailure(error) : load(std::move(content));
}

XmlLoadResult XmlDocument::loadBytes(const char* bytes, size_t size) {
    clear();
    if (size > kLargestXmlFile) {
        return fileFailure(EFBIG);
    }
    FileContent content;
    content.data.reset(static_cast<char*>(sys::malloc(std::max<size_t>(size, 1))));
    if (content.data == nullptr) {
        return fileFailure(ENOMEM);
    }
    content.size = size;
    std::copy_n(bytes, size, content.data.get());
    return load(std::move(content));
}

XmlLoadResult XmlDocument::load(FileContent&& content) {
    m_text.memory = std::move(content.data);
    XmlLoadResult result{kNoMemory};
    // Nothing but bad_alloc is thrown below, and that leaves the result as it is.
    static_cast<void>(swallow([&] { result = decodeAndParse(content.size); }));
    if (!result.loaded()) {
        clear();
    }
    return result;
}

XmlLoadResult XmlDocument::decodeAndParse(size_t size) {
    if (size == 0) {
        return {"it is empty"};
    }
    TextEncoding encoding;
    XmlLoadResult result;
    result.reason = detectEncoding({m_text.memory.get(), size}, encoding);
    if (result.loaded()) {
        result.reason = decodeText(encoding, m_text, result.offset);
    }
    return result.loaded() ? parse() : result;
}

// In place: the text is this object's own and lives as long as the tree that points into it.
XmlLoadResult XmlDocument::parse() {
    m_tree = std::make_unique<pugi::xml_document>();
    // Blanks alone between two markups make no node, except as an element's only content: half the nodes of
    // an indented file would be such. Comments and instructions are nodes, so that blanks beside one are not
    // taken for the only content. As a fragment, text beside the document element is seen instead of skipped.
    constexpr unsigned kFlags = pugi::parse_default | pugi::parse_ws_pcdata_single | pugi::parse_comments |
                                pugi::parse_pi | pugi::parse_fragment;
    const std::span<char> text = m_text.text;
    spoilNulReferences(text);
    const pugi::xml_parse_result parsed =
        m_tree->load_buffer_inplace(text.data(), text.size(), kFlags, pugi::encoding_utf8);
    if (!parsed) {
        return {parsed.description(), static_cast<size_t>(parsed.offset)};
    }
    return {checkShape(*m_tree)};
}

} // namespace em
