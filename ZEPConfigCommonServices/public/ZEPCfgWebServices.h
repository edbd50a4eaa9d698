#pragma once

#include "ExportedByZEPCfgCommonServices.h"

#include <vector>

class ZEPListValZEPPLMID;
class ZEPUnicodeString;

// Calls of the PLM server's JSON web services. Every operation returns a result code: a value that
// is not negative is a success. Exceptions of the platform pass through to the caller. Operations
// may run on several threads at once.
class ExportedByZEPCfgCommonServices ZEPCfgWebServices {
public:
  // Sends one request and gives back the server's answer. The server's URL is the client's named
  // argument "Url"; the request carries the current security context.
  //
  // in_httpCommand  "GET", "PUT" or "POST"
  // in_url          path on the server, appended to the server's URL as it stands
  // in_json         body of the request
  // out_json        emptied first, then the body of the answer; also that of an answer with a
  //                 status from 400 to 499 other than 404. May be the same object as in_json.
  //
  // S_OK                   the server answered with a status below 400 (out_json may be empty)
  // E_INVALIDARG           in_httpCommand is none of the three
  // E_FAIL                 no security context, no server URL, or the request could not be made
  // ZEP_E_HTTP_NOT_FOUND   status 404; out_json is empty
  // ZEP_E_HTTP_STATUS      any other status of 400 or more
  // other failure codes    that of the platform's service that failed
  //
  // Of the two HTTP stacks it takes the current one, or the legacy one for the life of the process
  // when the environment variable CFG_OldCallWebService was "1" at the first call.
  static long CallWebService(const ZEPUnicodeString& in_httpCommand, const ZEPUnicodeString& in_url,
                             const ZEPUnicodeString& in_json, ZEPUnicodeString& out_json);

  // The same call, with the same arguments and results, on the current stack. The body is sent with
  // PUT and POST only. When the server answers with a status of 500 or more, the call is made once
  // more on the legacy stack, whose result it then returns.
  static long NewCallWebService(const ZEPUnicodeString& in_httpCommand, const ZEPUnicodeString& in_url,
                                const ZEPUnicodeString& in_json, ZEPUnicodeString& out_json);

  // The same call, with the same arguments and results, on the legacy stack. Any text is passed on as
  // the verb, the body is sent with every verb, and every failure of the HTTP client is E_FAIL.
  static long OldCallWebService(const ZEPUnicodeString& in_httpCommand, const ZEPUnicodeString& in_url,
                                const ZEPUnicodeString& in_json, ZEPUnicodeString& out_json);

  // Gives the identifier texts from which the JSON lists of requests are made: of a configuration
  // feature the logical identifier, of every other object the physical one, without quotes or
  // separators.
  //
  // in_ids   of any objects
  // out_ids  one text for each identifier is appended, in order; those made before a failure stay
  //
  // S_OK for an empty list, else the code of the last service called, or of the first that failed.
  static long BuildJsonList(const ZEPListValZEPPLMID& in_ids, std::vector<ZEPUnicodeString>& out_ids);
};
