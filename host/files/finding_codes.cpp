#include "host/files/finding_codes.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include <fmt/format.h>

namespace volad_dev {
namespace {

using enum Severity;

constexpr std::array kCodes = std::to_array<FindingCode>({
    // Lines of a registry file, as its reader names them.
    {"nul", Error, "a line of a registry file holds a NUL byte",
     "Remove the NUL byte and what is behind it in the line."},
    {"behind-key-name", Error, "something stands behind a key's name",
     "Remove what stands behind the \"]\"."},
    {"too-deep", Error, "a key lies below 512 others", "Move the key up."},
    {"no-equals-sign", Error, "a line is no value", "Write NAME=TYPE=DATA, or remove the line."},
    {"no-type", Error, "a value has no type that is known",
     "Write =s=, =es=, =b= or =d= behind the name, or remove the line."},
    {"no-number", Error, "a DWORD has no digits", "Write a decimal number behind =d=, or remove the line."},
    {"number-too-large", Error, "a DWORD is no number of 32 bits",
     "Write a decimal number of 32 bits and nothing behind it."},
    {"not-hexadecimal", Error, "a binary value holds another character",
     "Write pairs of hexadecimal digits with blanks between them."},
    {"above-a-byte", Error, "a binary value holds a number above ff",
     "Write pairs of hexadecimal digits with blanks between them."},
    {"behind-the-end", Error, "something stands behind the end of the tree",
     "Remove the empty line too many above it, or what is behind the end."},
    {"key-left-open", Warning, "a key is not closed",
     "See whether the file was cut; close each key with an empty line."},
    {"name-twice", Warning, "a key holds two values, or keys, of one name", "Keep one line of that name."},
    {"name-of-value-and-key", Warning, "a value and a key have one name", "Rename the value or the key."},
    // Files as a whole.
    {"unreadable", Error, "a file or directory cannot be read, or is of another kind",
     "Mend what the system's error names."},
    {"no-memory", Error, "memory was short while a file was read", "Free memory, then check again."},
    {"crlf-line-ends", Error,
     "a registry file's lines end in CR LF: no key is closed, and no save replaces such a registry",
     "Convert the line ends: each is a newline alone, without a CR."},
    {"no-value", Warning, "a registry file holds no value", "Remove the file, or take it from a backup."},
    // What would keep the registry store from saving.
    {"tree-too-large", Error, "a tree would take more than 64 MiB", "Delete keys."},
    {"directory-not-writable", Error, "no file can be made in the store's directory",
     "Let the user that saves write to the directory."},
    {"symbolic-link", Error, "the registry is a symbolic link, which no save replaces",
     "Put the file itself in the link's place."},
    {"name-of-a-directory", Error, "a directory has the name of a file that a save makes",
     "Remove or rename the directory."},
    {"lock-refused", Error, "the lock file does not count", "Remove the lock file; the next save makes it."},
    {"lock-held", Error, "another writer holds the lock all the time",
     "Find and end the process that keeps the lock, then check again."},
    {"store-directory-missing", Error, "the directory of registry and agents' job file is not there",
     "Make the directory, of root and with mode 0755."},
    // What the registry holds, or does not.
    {"registry-missing", Warning, "no file of the store gives a value",
     "Take the registry from a backup; without it there are no roots and no properties."},
    {"registry-fallback", Warning, "there is no registry, another file of the store is read",
     "Copy that file to the registry's name."},
    {"locator-not-text", Warning, "the locator's value is no text or empty, and the default counts",
     "Set it to the product key's path, or delete it."},
    {"locator-leads-nowhere", Error, "the locator names a key that is not there",
     "Set it to the product key's path, or delete it."},
    {"product-key-missing", Warning, "the default product key is not there",
     "Make the key, or set the locator."},
    {"root-not-text", Warning, "a root of the installation is no text, and counts as missing",
     "Set it as a string or an expandable string."},
    {"roots-missing", Warning, "neither BinRoot nor FileRoot is set", "Set BinRoot, ending in \"/\"."},
    {"root-not-absolute", Warning, "a root is searched from the directory in which the host stands",
     "Set it to a path that begins with \"/\"."},
    {"root-directory-missing", Warning, "a root's directory is not there",
     "Make the directory, or set the root to where it is."},
    {"binroot-without-separator", Warning, "BinRoot does not end in \"/\"", "Let BinRoot end in \"/\"."},
    {"property-not-a-number", Warning, "a property of the module is no DWORD, and counts as missing",
     "Set it as a dword."},
    // Trace.
    {"trace-directory-missing", Warning, "the trace's directory is not there",
     "Make the directory, with a file that has a section [EM_SHUTDOWN] and a last header [EndOfFile]."},
    {"trace-directory-empty", Error, "no file of the trace's directory has \".ini\" in its name",
     "Put a file there, or remove the directory: as it is, it switches off the environment's variables too."},
    {"trace-file-name", Warning, "a file is read because \".ini\" stands within its name",
     "Move copies out of the directory."},
    {"end-marker-missing", Error, "there is no header [EndOfFile], the file is not read",
     "Write [EndOfFile] as the last line."},
    {"end-marker-not-last", Error, "another header, or a \"]\", is behind [EndOfFile], the file is not read",
     "Move [EndOfFile] to the end of the file."},
    {"behind-end-marker", Error, "a line behind [EndOfFile] is not read", "Move the line in front of it."},
    {"nul-in-file", Error, "nothing behind a NUL byte is read", "Remove the NUL byte."},
    {"trace-section-missing", Warning, "no file has the module's section", "Add a section [EM_SHUTDOWN]."},
    {"trace-level-missing", Warning, "the module's section gives no level", "Add a line FileDebugLevel=N."},
    {"global-section-elsewhere", Warning, "GlobalDebugSettings is read from global_trace.ini alone",
     "Move the section to global_trace.ini."},
    {"section-shadowed", Warning, "a section is not read, since one of that name comes first",
     "Keep one section of that name."},
    {"section-cut", Error, "a \"[\" within a line ends the section, keys behind it are lost",
     "Remove the bracket from the line."},
    {"header-hidden", Error, "a \"[\" without its \"]\" swallows the header behind it",
     "Remove the bracket, or close it in its line."},
    {"key-inside-text", Error, "a key's first occurrence is part of other text, whose number is taken",
     "Move the key's own line in front of it, or change the other text."},
    {"number-not-whole", Error, "a number is cut, or is none",
     "Write a decimal number without leading zeros, or one behind 0x."},
    {"level-out-of-range", Error, "a level is no number from 0 to 5", "Write a number from 0 to 5."},
    {"variable-not-decimal", Error, "a variable of the trace is no decimal number",
     "Write a decimal number, or remove the variable: as it is, it still counts instead of the files."},
    {"read-on-reload-only", Warning, "a value counts only once the file was changed and read again",
     "Do not rely on it, or change the file while the host runs."},
    // A module's configuration file.
    {"config-file-shadowed", Warning, "another configuration file of that name is found first",
     "Remove the one that is not meant."},
    {"config-file-is-directory", Warning, "a directory has the name of a configuration file",
     "Remove or rename the directory."},
    {"config-file-missing", Warning, "the registered configuration file is in none of the three places",
     "Put the file into DataRoot, or delete the entry."},
    // Message files.
    {"message-file-missing", Warning, "there is no message file, reasons have their plain names",
     "Put EVENTMSG.XML into the directory of binaries."},
    {"message-file-shadowed", Warning, "another message file is found first",
     "Remove the one that is not meant."},
    {"not-loaded", Error, "a message file is no XML that can be read", "Mend the XML."},
    {"no-events", Error, "a message file holds no events",
     "Take a file with EventMsg, Events and Event elements."},
    {"no-code", Error, "an event has no code", "Give the event its ErrorCode."},
    {"code-twice", Warning, "two events have one code",
     "Keep the first event of that code: no other is found."},
    {"no-english-summary", Error, "an event has no summary in the language that is looked up",
     "Give its first Messages element in \"en\" a Summary."},
    // The job of the settings.
    {"job-text-cut", Error, "the job's text is too long and is run without its end",
     "Put what is long into a script."},
    {"job-missing", Error, "the job's program is not there", "Install it, or set the job to where it is."},
    {"job-not-executable", Error, "the job's program is no file that can be executed",
     "Set the job to a program, with mode 0755."},
    {"job-interpreter-missing", Error, "the job's interpreter is not there, or cannot be executed",
     "Install the interpreter, or mend the script's first line."},
    {"job-directory-missing", Warning, "the job's directory is not there, the job runs where the host stands",
     "Make the directory, or set another one."},
    {"job-directory-from-arguments", Warning, "the job's directory is taken from its arguments",
     "Set the job's directory."},
    {"job-limit-too-long", Warning, "the job may run longer than a host is given to stop",
     "Set a shorter limit, or give the host's service more time to stop."},
    {"job-not-waited-for", Warning, "the job is not waited for, the command follows at once",
     "Set a limit of some seconds."},
    // The machine.
    {"gate-tool-missing", Error, "there is no maintenance tool in PATH, each request is refused",
     "Put localcli into a directory of the host's PATH."},
    {"path-not-absolute", Warning, "a directory of PATH depends on where the host stands",
     "Start the host with a PATH of absolute directories."},
    {"shell-missing", Error, "there is no shell, neither job nor command can be started", "Install /bin/sh."},
    {"power-command-missing", Error, "a command that ends the system cannot be executed",
     "Install the package that has it."},
    {"restart-file-blocked", Error, "the agents' job file cannot be replaced",
     "Remove what has the job file's name."},
    {"restart-command-missing", Warning, "the command that restarts the agents cannot be executed",
     "Install the agents."},
    // Permissions.
    {"others-can-replace", Error, "others than root may change what root runs, or put another in its place",
     "Give it to root, with mode 0755."},
    {"others-can-write", Warning, "others than root may change what the module reads",
     "Give it to root, directories with mode 0755, files with 0644."},
});

} // namespace

std::span<const FindingCode> findingCodes() {
    return kCodes;
}

const FindingCode& findingCode(std::string_view code) {
    const auto row = std::ranges::find(kCodes, code, &FindingCode::code);
    if (row == kCodes.end()) {
        throw std::logic_error(fmt::format("\"{}\" is no finding's code", code));
    }
    return *row;
}

} // namespace volad_dev
