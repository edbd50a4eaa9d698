#pragma once

#include <cstdint>

// Result codes. A result is a 32-bit signed value held in a `long`; it is a success when it is
// not negative. `long` has 64 bits on 64-bit Linux, so every failure code is sign-extended here,
// once, and nowhere else.

// The result with these 32 bits.
constexpr long ZEPHResultFromBits(std::uint32_t bits) {
  return static_cast<long>(static_cast<std::int32_t>(bits));
}

// Whether a result is a success.
constexpr bool ZEPSucceeded(long result) {
  return result >= 0;
}

// Whether a result is a failure.
constexpr bool ZEPFailed(long result) {
  return result < 0;
}

inline constexpr long S_OK = 0;    // success
inline constexpr long S_FALSE = 1; // success: there was nothing to do

inline constexpr long E_NOTIMPL = ZEPHResultFromBits(0x80004001U);     // not implemented
inline constexpr long E_NOINTERFACE = ZEPHResultFromBits(0x80004002U); // the object has no such interface
inline constexpr long E_POINTER = ZEPHResultFromBits(0x80004003U);     // a pointer is null or not valid
inline constexpr long E_ABORT = ZEPHResultFromBits(0x80004004U);       // the operation was ended
inline constexpr long E_FAIL = ZEPHResultFromBits(0x80004005U);        // no more precise code fits
inline constexpr long E_UNEXPECTED = ZEPHResultFromBits(0x8000FFFFU);  // not in this state
inline constexpr long REGDB_E_CLASSNOTREG = ZEPHResultFromBits(0x80040154U); // no such component class
inline constexpr long E_ACCESSDENIED = ZEPHResultFromBits(0x80070005U);      // access is denied
inline constexpr long E_HANDLE = ZEPHResultFromBits(0x80070006U);            // a handle is not valid
inline constexpr long E_OUTOFMEMORY = ZEPHResultFromBits(0x8007000EU);       // not enough memory
inline constexpr long E_INVALIDARG = ZEPHResultFromBits(0x80070057U);        // an argument is not valid

// Failures of a web-service call that the server itself answered. They have no standard name.
inline constexpr long ZEP_E_HTTP_STATUS = ZEPHResultFromBits(0x80090136U);    // status 400 or more
inline constexpr long ZEP_E_HTTP_NOT_FOUND = ZEPHResultFromBits(0x80090137U); // status 404

static_assert(E_FAIL < 0, "a failure code has to be negative whatever the size of long");
