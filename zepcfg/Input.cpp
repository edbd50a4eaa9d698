#include "Input.h"

#include "Failure.h"
#include "Output.h"
#include "Text.h"
#include "XMLDecoding.h"
#include "ZEPFile.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zep::cli {
namespace {

const char reading[] = "reading the input";

[[noreturn]] void failReading(const std::string& file, int error) {
  const bool isMissing = error == ENOENT || error == ENOTDIR;
  const char* const remedy = error == EISDIR   ? "name a file"
                             : isMissing       ? "check the name of the file"
                             : error == EACCES ? "make the file readable for yourself"
                                               : "check the file";
  failBadInput(inputName(file), reading, std::strerror(error), remedy);
}

// An open file; standard input is left open.
class Descriptor {
public:
  explicit Descriptor(const std::string& file) : m_number(openInput(file)) {}
  ~Descriptor() { closeInput(m_number); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int number() const { return m_number; }

private:
  int m_number;
};

void sayThatItWaits(int descriptor) {
  if (isatty(descriptor) && isatty(STDERR_FILENO)) {
    writeNote("zepcfg: reading from the terminal, Ctrl-D ends the text\n");
  }
}

template <class Decode>
ZEPUnicodeString decodeOrFail(const std::string& file, std::string_view bytes, Decode decode) {
  try {
    return decode(bytes);
  } catch (const DecodingError& error) {
    failBadInput(inputName(file), "decoding the input", error.what(),
                 "save the text as UTF-8, or let its XML declaration name the encoding that it is in");
  }
}

} // namespace

int openInput(const std::string& file) {
  const int descriptor = file == "-" ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    failReading(file, errno);
  }
  return descriptor;
}

void closeInput(int descriptor) {
  if (descriptor != STDIN_FILENO) {
    close(descriptor);
  }
}

std::size_t readPiece(const std::string& file, int descriptor, std::string& bytes) {
  std::array<char, std::size_t{1} << 16> piece; // not filled, so that a short input touches little of it
  ssize_t count = 0;
  do {
    count = read(descriptor, piece.data(), piece.size());
  } while (count < 0 && errno == EINTR);
  if (count < 0) {
    failReading(file, errno);
  }
  bytes.append(piece.data(), static_cast<std::size_t>(count));
  return static_cast<std::size_t>(count);
}

std::string readInput(const std::string& file) {
  const Descriptor descriptor(file);
  sayThatItWaits(descriptor.number());
  std::string bytes;
  while (readPiece(file, descriptor.number(), bytes) > 0) {
    if (bytes.size() > largestInput) {
      failBadInput(inputName(file), reading,
                   "the input is larger than " + std::to_string(largestInput >> 20) + " MiB",
                   "give it in smaller pieces");
    }
  }
  return bytes;
}

ZEPUnicodeString readXML(const std::string& file) {
  return decodeXMLInput(file, readInput(file));
}

ZEPUnicodeString decodeXMLInput(const std::string& file, std::string_view bytes) {
  return decodeOrFail(file, bytes, decodeXML);
}

ZEPUnicodeString readData(const std::string& data) {
  if (!startsWith(data, "@")) {
    return fromUTF8(data);
  }
  const std::string file = data.substr(1);
  return decodeOrFail(file, readInput(file), decodeText);
}

std::string pathAsFound(const std::string& path) {
  const std::string withSlashes = replaceAll(path, "\\", "/");
  return access(path.c_str(), F_OK) != 0 && access(withSlashes.c_str(), F_OK) == 0 ? withSlashes : path;
}

void requireStylesheet(const std::string& file, const std::string& otherwise) {
  const char operation[] = "looking for the stylesheet";
  struct stat info;
  if (ZEPGetFileInfo(fromUTF8(file), &info) != 0) {
    failBadInput(inputName(file), operation, "there is no such file", "check the name; " + otherwise);
  }
  if (!S_ISREG(info.st_mode)) {
    failBadInput(inputName(file), operation,
                 S_ISDIR(info.st_mode) ? "it is a directory" : "it is not a regular file",
                 "name a stylesheet file");
  }
  if (access(pathAsFound(file).c_str(), R_OK) != 0 && errno == EACCES) {
    failBadInput(inputName(file), operation, std::strerror(EACCES), "make the file readable for yourself");
  }
}

} // namespace zep::cli
