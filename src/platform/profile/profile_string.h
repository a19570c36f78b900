// Profile files, INI-style, in the manner of the Win32 private-profile calls:
//
//   ; a comment
//   [Section]
//   Key = value   ; a comment to the end of the line
//
// Lines have at most 1,023 characters, names are compared case-sensitively; a byte-order mark in front counts
// as nothing. No call throws; any thread, any process.
#pragma once

#include <cstdint>

namespace em {

// Reads one value, or lists the keys of a section (no key given) or the sections of the file (no section
// given); returns the characters placed in `out`, which is always terminated. A value counts without its
// terminator; a list counts each name with its own terminator and ends in one more. What does not fit is cut:
// a value to size - 1, a list to size - 2. Where nothing is found, the value is empty or the file cannot be
// read, `out` gets the default if section, key and default are all given, else nothing. Without `out` or with
// size 0 nothing is done.
uint32_t GetPrivateProfileString(const char* section, const char* key, const char* defaultText, char* out,
                                 uint32_t size, const char* file);

// Adds or replaces a value (all given), deletes a key (no value) or a section (no key). Returns 1, also when
// there was nothing to delete, or 0: no file name or section; a file that is not there when something is to
// be deleted; any failure of the system; and what could not be read back: an empty key, one with "=", ";" or
// a line end in it, with "[" or a blank in front or a blank at its end, a section with "]", ";" or a line
// end, a value with a line end, a line above 1,023 characters. Writers at the same time lose nothing to each
// other. After a failure, and after a kill at any time, the file is as it was or as asked, never a mix; only
// where no other file can take its place (directory not writable, several hard links, an access list, a
// mount) is it written in place. A process of root follows no link of another user (0).
uint32_t WritePrivateProfileString(const char* section, const char* key, const char* value, const char* file);

} // namespace em
