#include "Saxon.h"

#include "Bench.h"

#include <chrono>
#include <cstdint>

namespace saxon {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds warmUpTime{8};
constexpr int leastWarmUpPasses = 8;

void appendNumber(std::string& bytes, std::size_t number) {
  for (const unsigned shift : {24U, 16U, 8U, 0U}) {
    bytes += static_cast<char>((number >> shift) & 0xFFU);
  }
}

std::size_t numberAt(const std::string& bytes, std::size_t at) {
  std::size_t number = 0;
  for (std::size_t i = 0; i < sizeof(std::uint32_t); ++i) {
    number = (number << 8U) | static_cast<unsigned char>(bytes.at(at + i));
  }
  return number;
}

std::string expressionFile(const std::vector<std::string>& expressions) {
  std::string bytes;
  appendNumber(bytes, expressions.size());
  for (const std::string& expression : expressions) {
    appendNumber(bytes, expression.size());
    bytes += expression;
  }
  const auto path = bench::scratchDirectory() / "saxon-expressions";
  bench::writeFile(path, bytes);
  return path;
}

std::string textFile() {
  return bench::scratchDirectory() / "saxon-texts";
}

std::vector<std::string> readTexts() {
  const std::string bytes = bench::readFile(textFile());
  std::vector<std::string> texts;
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t size = numberAt(bytes, at);
    at += sizeof(std::uint32_t);
    texts.push_back(bytes.substr(at, size));
    at += size;
  }
  return texts;
}

} // namespace

bool isAvailable() {
  return *ZEP_SAXON_CLASSPATH != '\0';
}

// The serial collector: the others spread its work over more threads, which costs more processor time.
Formatter::Formatter(const std::string& stylesheet, const std::vector<std::string>& expressions)
    : m_machine({ZEP_JAVA, "-Xms1g", "-Xmx4g", "-XX:+UseSerialGC", "-cp", ZEP_SAXON_CLASSPATH,
                 "SaxonFormatter", stylesheet, expressionFile(expressions), textFile()}) {
  bench::require(m_machine.Answer() == "ready", "Saxon is not ready");
  m_firstTexts = readTexts();
}

void Formatter::WarmUp() {
  const auto start = Clock::now();
  for (int pass = 0; pass < leastWarmUpPasses || Clock::now() - start < warmUpTime; ++pass) {
    SecondsOfPass();
  }
}

double Formatter::SecondsOfPass() {
  const double before = m_machine.Seconds();
  m_machine.Ask();
  m_machine.Answer();
  return m_machine.Seconds() - before;
}

} // namespace saxon
