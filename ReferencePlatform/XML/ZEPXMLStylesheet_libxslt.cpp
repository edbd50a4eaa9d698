#include "ZEPXMLStylesheet_libxslt.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <utility>

#include <libxml/hash.h>
#include <libxslt/imports.h>

namespace zep {
namespace {

// A compiled stylesheet takes up about twenty times its text.
constexpr std::size_t kMaxKept = 16;
constexpr std::size_t kMaxKeptBytes = std::size_t{1} << 20;

// Those kept, and behind them nothing; the one used last stands first. An array, since the end of a
// transformer is no place to ask for memory.
using Slots = std::array<PreparedStylesheetPtr, kMaxKept + 1>;

std::mutex keptMutex;
bool isClosed = false;

// A transformer that lives longer than this, in a variable of the host's, keeps nothing.
struct Kept {
  ~Kept() {
    const std::lock_guard<std::mutex> lock(keptMutex);
    isClosed = true;
  }
  Slots slots;
} kept;

// With extensions, what comes out of a compilation depends on what the host has registered by then.
bool HasExtensions(xsltStylesheetPtr stylesheet) {
  for (; stylesheet != nullptr; stylesheet = xsltNextImport(stylesheet)) {
    if (stylesheet->nsDefs != nullptr || stylesheet->extInfos != nullptr) {
      return true;
    }
  }
  return false;
}

Slots::iterator EndOfKept() {
  return std::find(kept.slots.begin(), kept.slots.end(), nullptr);
}

PreparedStylesheetPtr TakeOfText(const StylesheetText& text, const XMLLimits& limits) {
  const std::lock_guard<std::mutex> lock(keptMutex);
  if (isClosed) {
    return nullptr;
  }
  const Slots::iterator end = EndOfKept();
  const Slots::iterator found =
      std::find_if(kept.slots.begin(), end, [&](const PreparedStylesheetPtr& candidate) {
        return candidate->limits == limits && candidate->text == text;
      });
  if (found == end) {
    return nullptr;
  }
  PreparedStylesheetPtr taken = std::move(*found);
  std::move(found + 1, end, found);
  return taken;
}

// The first of those that are too many, in number or in size.
Slots::iterator EndOfAllowed() {
  std::size_t bytes = 0;
  return std::find_if(kept.slots.begin(), kept.slots.begin() + kMaxKept,
                      [&bytes](const PreparedStylesheetPtr& one) {
                        bytes += one == nullptr ? 0 : one->SourceBytes();
                        return bytes > kMaxKeptBytes;
                      });
}

bool IsUpToDate(const PreparedStylesheet& prepared) {
  return std::all_of(
      prepared.included.begin(), prepared.included.end(),
      [&prepared](const IncludedText& included) { return IsUnchanged(prepared.limits, included); });
}

void FindPreserved(void* value, void* found, const xmlChar*) {
  const bool isPreserved = std::strcmp(static_cast<const char*>(value), "preserve") == 0;
  *static_cast<bool*>(found) = *static_cast<bool*>(found) || isPreserved;
}

// What the main stylesheet says holds over what it imports.
XMLExpressionParser::BlankText BlankTextFor(const xsltStylesheet& stylesheet) {
  bool isPreserved = stylesheet.stripAll != 1;
  if (stylesheet.stripSpaces != nullptr) {
    xmlHashScan(stylesheet.stripSpaces, FindPreserved, &isPreserved);
  }
  return isPreserved ? XMLExpressionParser::BlankText::Keep : XMLExpressionParser::BlankText::Drop;
}

} // namespace

PreparedStylesheet::PreparedStylesheet(XSLTStylesheet compiled, const XMLLimits& limitsThen,
                                       StylesheetText textRead, std::vector<IncludedText> includedRead)
    : stylesheet(std::move(compiled)),
      parser(BlankTextFor(*stylesheet)),
      transformation(stylesheet.get()),
      limits(limitsThen),
      text(std::move(textRead)),
      included(std::move(includedRead)) {}

std::size_t PreparedStylesheet::SourceBytes() const {
  std::size_t bytes = text.bytes.size();
  for (const IncludedText& one : included) {
    bytes += one.text.bytes.size();
  }
  return bytes;
}

void KeepPrepared(PreparedStylesheetPtr prepared) {
  if (prepared->SourceBytes() > kMaxKeptBytes || HasExtensions(prepared->stylesheet.get())) {
    return;
  }
  Slots dropped; // freed without the mutex
  const std::lock_guard<std::mutex> lock(keptMutex);
  if (isClosed) {
    return;
  }
  std::move_backward(kept.slots.begin(), kept.slots.end() - 1, kept.slots.end());
  kept.slots.front() = std::move(prepared);
  std::move(EndOfAllowed(), kept.slots.end(), dropped.begin());
}

PreparedStylesheetPtr TakePrepared(const StylesheetText& text, const XMLLimits& limits) {
  for (;;) {
    PreparedStylesheetPtr prepared = TakeOfText(text, limits);
    if (prepared == nullptr || IsUpToDate(*prepared)) {
      return prepared;
    }
  }
}

} // namespace zep
