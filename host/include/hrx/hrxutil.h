// The host utilities library, hrxutil.mdl. Buffers it returns are released by the caller
// with delete[]: host and plug-ins share one C++ runtime and so one heap.
#pragma once

#include <cstddef>

#ifdef HRXUTIL_BUILD
#define HRXUTIL_API __declspec(dllexport)
#else
#define HRXUTIL_API __declspec(dllimport)
#endif

// Wide text to a new zero-terminated buffer in the system's ANSI code page.
HRXUTIL_API char* wtom(const wchar_t* text);
// Wide text to a new zero-terminated UTF-8 buffer.
HRXUTIL_API char* wtou(const wchar_t* text);
// Decodes `length` bytes of Base64 text (standard alphabet, padding optional, blanks
// skipped, decoding stops at the first other character) into a new buffer stored in *out
// (never null when out is not); returns the number of decoded bytes.
HRXUTIL_API size_t lutBase64Decode(const char* text, size_t length, unsigned char** out);
