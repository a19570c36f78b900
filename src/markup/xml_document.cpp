#include "markup/xml_document.h"

#include <pugixml.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "base/file_content.h"
#include "base/swallow.h"
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

// The next node in document order, within the tree; counts the depth along. Null at the end.
// Without recursion: the depth is the file's choice, the stack may be small.
pugi::xml_node nextNode(pugi::xml_node node, unsigned& depth) {
    if (const pugi::xml_node child = node.first_child()) {
        ++depth;
        return child;
    }
    while (node && !node.next_sibling()) {
        node = node.parent();
        --depth;
    }
    return node ? node.next_sibling() : node;
}

bool isElement(const pugi::xml_node& node) {
    return node.type() == pugi::node_element;
}

bool isText(const pugi::xml_node& node) {
    return node.type() == pugi::node_cdata ||
           (node.type() == pugi::node_pcdata &&
            std::strspn(node.value(), " \t\r\n") != std::strlen(node.value()));
}

// What the parser lets pass: not just one document element, text beside it, elements nested without an end.
const char* checkShape(const pugi::xml_document& tree) {
    const auto nodes = tree.children();
    if (std::any_of(nodes.begin(), nodes.end(), isText)) {
        return "it has text outside its document element";
    }
    if (std::count_if(nodes.begin(), nodes.end(), isElement) != 1) {
        return "it does not have just one document element";
    }
    unsigned depth = 1;
    for (pugi::xml_node node = tree.first_child(); node; node = nextNode(node, depth)) {
        if (depth > kDeepestXml && isElement(node)) {
            return "its elements are nested deeper than 256 levels";
        }
    }
    return nullptr;
}

} // namespace

XmlDocument::XmlDocument() = default;
XmlDocument::~XmlDocument() = default;

void XmlDocument::clear() {
    m_tree.reset();
    m_text = std::string();
}

XmlLoadResult XmlDocument::loadFile(const char* path) {
    clear();
    FileContent content;
    const int error = readRegularFile(path, kLargestXmlFile, 0, content);
    return error != 0 ? fileFailure(error) : loadBytes(content.data.get(), content.size);
}

XmlLoadResult XmlDocument::loadBytes(const char* bytes, size_t size) {
    clear();
    XmlLoadResult result{kNoMemory};
    // Nothing but bad_alloc is thrown below, and that leaves the result as it is.
    static_cast<void>(swallow([&] { result = decode(bytes, size); }));
    if (!result.loaded()) {
        clear();
    }
    return result;
}

XmlLoadResult XmlDocument::decode(const char* bytes, size_t size) {
    if (size == 0) {
        return {"it is empty"};
    }
    if (size > kLargestXmlFile) {
        return fileFailure(EFBIG);
    }
    TextEncoding encoding;
    XmlLoadResult result;
    result.reason = detectEncoding({bytes, size}, encoding);
    if (result.loaded()) {
        result.reason = decodeText(encoding, m_text, result.offset);
    }
    return result.loaded() ? parse() : result;
}

// In place: the text is this object's own and lives as long as the tree that points into it.
XmlLoadResult XmlDocument::parse() {
    m_tree = std::make_unique<pugi::xml_document>();
    // Blanks are text, too, also between two CDATA sections; as a fragment, text beside the document element
    // is seen instead of skipped.
    constexpr unsigned kFlags = pugi::parse_default | pugi::parse_ws_pcdata | pugi::parse_fragment;
    spoilNulReferences(m_text);
    const pugi::xml_parse_result parsed =
        m_tree->load_buffer_inplace(m_text.data(), m_text.size(), kFlags, pugi::encoding_utf8);
    if (!parsed) {
        return {parsed.description(), static_cast<size_t>(parsed.offset)};
    }
    return {checkShape(*m_tree)};
}

} // namespace em
