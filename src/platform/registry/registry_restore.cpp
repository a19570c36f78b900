#include "platform/registry/registry_restore.h"

#include <array>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "base/file_content.h"
#include "platform/registry/registry_reader.h"
#include "platform/registry/registry_state.h"
#include "trace/table_line.h"
#include "trace/trace.h"

namespace em {
namespace {

constexpr unsigned kMostFindings = 16; // lines about one file

// A tree that was read and is not part of the registry yet.
struct ReadTree {
    ReadTree() = default;
    ReadTree(const ReadTree&) = delete;
    ReadTree& operator=(const ReadTree&) = delete;
    ~ReadTree() { dismantleRegistryKey("", root, Dismantle::Unloaded); }

    CRegistryNode root{0};
};

struct ReadFile {
    std::unique_ptr<ReadTree> tree = std::make_unique<ReadTree>();
    bool succeeded = false;
    RegistryFailure unreadable; // for another reason than absence, emptiness or content
};

void traceFinding(const std::string& path, const RegistryFinding& finding, unsigned& count) {
    ++count;
    if (count <= kMostFindings) {
        EM_TRACE(1, "CRegistry: WARNING: Line %zu of \"%s\" %s\n", finding.line, path.c_str(),
                 finding.reason);
    } else if (count == kMostFindings + 1) {
        EM_TRACE(1, "CRegistry: WARNING: More lines of \"%s\" could not be taken as they stand\n",
                 path.c_str());
    }
}

void readTree(const std::string& path, const FileContent& content, ReadFile& file) {
    unsigned findings = 0;
    const RegistryReading reading =
        readRegistry({content.data.get(), content.size}, file.tree->root,
                     [&](const RegistryFinding& finding) { traceFinding(path, finding, findings); });
    file.succeeded = reading.complete && reading.anyValue;
    if (!reading.complete) {
        file.unreadable = {"read the old file", ENOMEM};
    } else if (reading.carriageLine) {
        file.unreadable = {"read the old file, its lines end in CR LF", EINVAL};
    }
    if (!file.succeeded) {
        EM_TRACE(1,
                 "CRegistry: WARNING: Node restoring from \"%s\" failed - check the content of this file\n",
                 path.c_str());
    }
}

// A missing file is no failure, any other reason is: what could not be read must not be replaced.
ReadFile restoreFile(const std::string& path) {
    ReadFile file;
    if (path.empty()) {
        EM_TRACE(1, "CRegistry: ERROR: Empty file path");
        return file;
    }
    FileContent content;
    const int error = readRegularFile(path.c_str(), kRegistryLargestFile, 0, content);
    if (error != 0) {
        if (error != ENOENT) {
            file.unreadable = {"read the old file", error};
        }
        EM_TRACE(1, "CRegistry: WARNING: Could not open \"%s\"\n", path.c_str());
    } else if (content.size == 0) {
        EM_TRACE(1, "CRegistry: WARNING: The length of \"%s\" is not sufficient\n", path.c_str());
    } else {
        readTree(path, content, file);
    }
    return file;
}

} // namespace

RegistryFailure restoreRegistry(const RegistryPaths& paths, CRegistryNode& root) {
    struct Try {
        const std::string& path;
        const char* failed; // its line, with the path
    };
    const std::array<Try, 3> tries{{
        {paths.main, "CRegistry: WARNING: Could not restore tree from \"%s\", trying backup\n"},
        {paths.backup, "CRegistry: WARNING: Could not restore tree from \"%s\", trying default\n"},
        {paths.fallback, "CRegistry: ERROR: Could not restore tree from \"%s\", restoring failed\n"},
    }};
    std::vector<ReadFile> files;
    bool restored = false;
    for (const Try& attempt : tries) {
        files.push_back(restoreFile(attempt.path));
        if (files.back().succeeded) {
            restored = true;
            break;
        }
        traceTableLine(1, attempt.failed, attempt.path.c_str());
    }
    // Kept whatever a fall-back gave: a save would push the unread main file out.
    const RegistryFailure mainUnreadable = files.front().unreadable;
    if (restored) {
        files.erase(files.begin(), files.end() - 1);
    }
    // Without a whole file the pieces of all of them count, the later ones over the earlier.
    for (const ReadFile& file : files) {
        if (!root.Adopt(file.tree->root)) {
            throw std::bad_alloc();
        }
    }
    return mainUnreadable;
}

} // namespace em
