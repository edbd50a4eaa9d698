#pragma once

#include "ZEPUnicodeString.h"

#include <cstddef>
#include <string>
#include <string_view>

// What commands read. Every function throws CommandFailure where it cannot.
namespace zep::cli {

inline constexpr std::size_t largestInput = std::size_t{256} << 20; // bytes

// The pieces of which reading is made. Standard input ("-") is not closed.
int openInput(const std::string& file);
void closeInput(int descriptor);
// Adds what comes next to `bytes`; returns how many bytes that is, 0 at the end.
std::size_t readPiece(const std::string& file, int descriptor, std::string& bytes);

// All of a file, a pipe, or standard input for "-".
std::string readInput(const std::string& file);

// An XML document, in whatever encoding it says that it is.
ZEPUnicodeString readXML(const std::string& file);
// The same of bytes that were read from that file.
ZEPUnicodeString decodeXMLInput(const std::string& file, std::string_view bytes);

// The JSON of the option --data: the text itself, or that of a file behind "@" ("@-": standard input).
ZEPUnicodeString readData(const std::string& data);

// The form in which a file is found: the library looks for a path with backslashes under slashes too.
std::string pathAsFound(const std::string& path);

// Fails unless there is a regular file of that name for the library to read. `otherwise` is what helps
// where there is none, besides another name.
void requireStylesheet(const std::string& file, const std::string& otherwise);

} // namespace zep::cli
