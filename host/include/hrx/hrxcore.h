// The host core library, hrxcore.mdl: the binding of a plug-in to the host's named
// services and to its translation service.
#pragma once

#include <cstdint>

#ifdef HRXCORE_BUILD
#define HRXCORE_API __declspec(dllexport)
#else
#define HRXCORE_API __declspec(dllimport)
#endif

struct HWND__;

// The host's function table. Services are named by paths such as "HRX/Log"; arguments
// and results are pointer-sized.
struct HRXFUNCTIONS {
    uint32_t size;
    uint32_t version;
    intptr_t (*fnRegister)(const wchar_t* service,
                           intptr_t (*handler)(intptr_t first, intptr_t second));  // offset 8
    intptr_t (*fnCall)(const wchar_t* service, intptr_t first, intptr_t second);   // offset 16
    intptr_t (*fnExists)(const wchar_t* service);                                  // offset 24
    void* reserved[4];
};
static_assert(__builtin_offsetof(HRXFUNCTIONS, fnCall) == 16, "fnCall is the table's third entry");
static_assert(__builtin_offsetof(HRXFUNCTIONS, fnExists) == 24, "fnExists follows fnCall");

namespace hrx {

// The host core object; the function table sits 8 bytes from its start.
class HRXCORE_API CCore {
public:
    uint64_t reserved;
    HRXFUNCTIONS functions;
};

// Texts the user sees, by module name and number, with the plug-in's own default.
class HRXCORE_API CTranslation {
public:
    // A host-owned text: the translation when one is loaded, else the default.
    const wchar_t* msg(const wchar_t* module, uint32_t id, const wchar_t* defaultText);
    // Translates a dialog's own texts (its caption and controls) by the dialog's number.
    void translateHwnd(const wchar_t* module, uint32_t id, HWND__* window);
};

extern HRXCORE_API CCore* g_pF;
extern HRXCORE_API CTranslation* g_pTrans;

}  // namespace hrx

extern "C" {
HRXCORE_API int libHrxInit(HRXFUNCTIONS* functions);
HRXCORE_API int libHrxTerminate();
}
