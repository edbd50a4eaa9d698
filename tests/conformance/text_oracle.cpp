#include "text_oracle.h"

#include "PLMCfgInTraceClass.h"
#include "ZEPCfgContextExpression.h"
#include "ZEPHResult.h"
#include "ZEPListValZEPUnicodeString.h"
#include "ZEPUTF8Conversion.h"

#include <algorithm>
#include <functional>

namespace oracle {
namespace {

std::string utf8(const ZEPUnicodeString& text) {
  const ZEPUTF8Conversion converted(text);
  return {converted.Bytes(), converted.ByteCount()};
}

void label(Run& run, const char* text) {
  if (run.traced) {
    run.records.emplace_back(text);
  }
}

void dump(Run& run, const char* name, const ZEPUnicodeString& text) {
  if (run.traced) {
    run.records.push_back(std::string(name) + " = [" + utf8(text) + "]");
  }
}

void number(Run& run, const char* name, int value) {
  if (run.traced) {
    run.records.push_back(std::string(name) + " = " + std::to_string(value));
  }
}

void error(Run& run, const std::string& message) {
  run.records.emplace_back(PLMCfgInTraceClass::GetError());
  run.records.push_back(PLMCfgInTraceClass::GetErrorIndent() + message);
}

const ZEPUnicodeString openingTag = "<Context";
const ZEPUnicodeString closingTag = "</Context>";
const ZEPUnicodeString holderNameAttribute = "HolderName";
const ZEPUnicodeString inheritedEff = "InheritedEff";
const ZEPUnicodeString filterableId = "FilterableId";
const ZEPUnicodeString operationHandlerId = "OperationHandlerId";
const ZEPUnicodeString description = "Description";
const ZEPUnicodeString closingDescription = "/Description";
const ZEPUnicodeString descId = "DescId";
const ZEPUnicodeString doubleQuote = "\"";
const ZEPUnicodeString apostrophe = "'";

int search(const ZEPUnicodeString& text, const ZEPUnicodeString& pattern, int start) {
  return text.SearchSubString(pattern, start, 1);
}

// The text between the first quote from `start` on and the next quote behind it.
struct Quoted {
  Quoted(const ZEPUnicodeString& text, int start)
      : opening(search(text, doubleQuote, start)),
        closing(search(text, doubleQuote, opening + 1)),
        value(text.SubString(opening + 1, closing - opening - 1)) {}

  int opening;
  int closing;
  ZEPUnicodeString value;
};

// Whether the walk goes on at this position. A position that comes up again ends it.
bool goesOn(Run& run, std::vector<int>& visited, int position) {
  if (position < 0) {
    return false;
  }
  if (std::find(visited.begin(), visited.end(), position) != visited.end()) {
    ++run.endlessWalks;
    return false;
  }
  if (!visited.empty() && position < visited.back()) {
    ++run.jumpsBack;
  }
  visited.push_back(position);
  return true;
}

} // namespace

Run splitByContext(const ZEPUnicodeString& expression, ZEPListValZEPCfgContextExpression& contexts,
                   bool traced) {
  Run run;
  run.traced = traced;

  ZEPUnicodeString W = expression;
  ZEPListValZEPUnicodeString pieces;
  const int s = search(W, openingTag, 0);
  int e = search(W, closingTag, s + 18);
  if (s >= 0) {
    while (e >= 0) {
      const ZEPUnicodeString piece = W.SubString(s, e - s + 10);
      dump(run, "stCtx", piece);
      pieces.Append(piece);
      W.Remove(s, e - s + 10);
      e = search(W, closingTag, s + 18);
    }
  }

  int id = 0;
  ZEPUnicodeString indexText;
  ZEPUnicodeString holderName;
  for (int i = 1; i <= pieces.Size(); ++i) {
    const ZEPUnicodeString S = pieces[i];
    ZEPCfgContextExpression C;

    C.m_contextName = Quoted(S, search(S, holderNameAttribute, 0)).value;
    dump(run, "CtxExpr.m_contextName", C.m_contextName);

    C.m_contextExpression = W;
    C.m_contextExpression.Insert(s, S);
    dump(run, "CtxExpr.m_contextExpression", C.m_contextExpression);

    label(run, "Inherited eff");
    std::vector<int> visitedEntries;
    int p = search(S, inheritedEff, 0);
    while (goesOn(run, visitedEntries, p)) {
      indexText = Quoted(S, search(S, filterableId, p + 12 + 2)).value;
      dump(run, "stIdx", indexText);
      indexText.ConvertToNum(&id, "%d");
      C.m_inheritedEffIds.Append(id);
      const Quoted name(S, search(S, holderNameAttribute, p + 14));
      holderName = name.value;
      dump(run, "stName", holderName);
      C.m_holderNames.Append(holderName);
      p = search(S, inheritedEff, name.closing);
    }

    label(run, "Change");
    std::vector<int> visitedChanges;
    int c = search(S, operationHandlerId, 0);
    while (goesOn(run, visitedChanges, c)) {
      const Quoted index(S, c);
      indexText = index.value;
      dump(run, "stIdx", indexText);
      indexText.ConvertToNum(&id, "%d");
      C.m_operationHandlerIds.Append(id);
      C.m_holderNames.Append(holderName);
      c = search(S, operationHandlerId, index.closing);
    }

    contexts.Append(C);
  }
  run.result = S_OK;
  return run;
}

namespace {

long removeDescriptionElement(Run& run, ZEPUnicodeString& text) {
  const int pos = search(text, description, 0);
  number(run, "pos", pos);
  if (pos < 0) {
    return S_OK;
  }
  const int end = search(text, closingDescription, 0);
  number(run, "end", end);
  if (end < 1) {
    error(run, "ERROR: /Description not found");
    return E_FAIL;
  }
  const int lg = end - pos + 12;
  number(run, "lg", lg + 2);
  text.Remove(pos - 1, lg + 2);
  dump(run, "out_XMLExpression", text);
  return S_OK;
}

long removeDescIds(Run& run, ZEPUnicodeString& text, const ZEPUnicodeString& quote) {
  label(run, "Remove the DescId attribute");
  int pos = search(text, descId, 0);
  number(run, "pos", pos);
  int lastCut = -1;
  while (pos >= 0) {
    run.joinedNames += pos < lastCut ? 1 : 0;
    number(run, "pos", pos);
    label(run, "look for the end of the value");
    const int open = search(text, quote, pos + 6);
    number(run, "end", open);
    if (open < 1) {
      error(run, "ERROR: end of DescId not found");
      return E_FAIL;
    }
    const int close = search(text, quote, open + 1);
    number(run, "end", close);
    if (close < 1) {
      error(run, "ERROR: end of DescId not found");
      return E_FAIL;
    }
    number(run, "lg", (close - pos) + 1);
    text.Remove(pos, (close - pos) + 1);
    lastCut = pos;
    dump(run, "out_XMLExpression", text);
    pos = search(text, descId, 0);
  }
  return S_OK;
}

long clean(Run& run, ZEPUnicodeString& text) {
  if (text.GetLengthInChar() == 0) {
    label(run, "empty expression");
    return S_OK;
  }
  dump(run, "out_XMLExpression", text);
  label(run, "Remove the Description tag");
  label(run, "what quote?");
  ZEPUnicodeString quote;
  if (search(text, doubleQuote, 0) >= 0) {
    quote = doubleQuote;
  } else if (search(text, apostrophe, 0) >= 0) {
    quote = apostrophe;
  } else {
    error(run, "ERROR: no quote found!");
    return E_FAIL;
  }
  dump(run, "quote", quote);
  const long result = removeDescriptionElement(run, text);
  return result < 0 ? result : removeDescIds(run, text, quote);
}

} // namespace

Run removeDescription(const ZEPUnicodeString& expression, ZEPUnicodeString& cleaned, bool traced) {
  Run run;
  run.traced = traced;
  cleaned = expression;
  run.result = clean(run, cleaned);
  if (run.result < 0) {
    cleaned.Reset();
  }
  dump(run, "out_XMLExpression", cleaned);
  label(run, run.result < 0 ? "rc = E_FAIL" : "rc = S_OK");
  return run;
}

namespace {

template <class List, class Equal>
bool haveEqualElements(const List& left, const List& right, const Equal& areEqual) {
  bool result = left.Size() == right.Size();
  for (int i = 1; result && i <= left.Size(); ++i) {
    result = areEqual(left[i], right[i]);
  }
  return result;
}

bool haveEqualElements(const ZEPRawCollint& left, const ZEPRawCollint& right) {
  return haveEqualElements(left, right, std::equal_to<int>());
}

bool haveEqualElements(const ZEPListValZEPUnicodeString& left, const ZEPListValZEPUnicodeString& right) {
  return haveEqualElements(left, right, std::equal_to<ZEPUnicodeString>());
}

bool areEqualContexts(const ZEPCfgContextExpression& left, const ZEPCfgContextExpression& right) {
  return left.m_contextName == right.m_contextName && left.m_contextExpression == right.m_contextExpression &&
         haveEqualElements(left.m_inheritedEffIds, right.m_inheritedEffIds) &&
         haveEqualElements(left.m_holderNames, right.m_holderNames) &&
         haveEqualElements(left.m_operationHandlerIds, right.m_operationHandlerIds);
}

} // namespace

bool equal(const ZEPListValZEPCfgContextExpression& left, const ZEPListValZEPCfgContextExpression& right) {
  return haveEqualElements(left, right, areEqualContexts);
}

} // namespace oracle
