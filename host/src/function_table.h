// The table handed to pluginLoad: its entries run the named services one call at a time and
// trace each call.
#pragma once

#include <cstdint>

#include "hrx/hrxcore.h"
#include "service_registry.h"

namespace tarnik::host {

class Host;

class FunctionTable {
public:
    explicit FunctionTable(Host& host);
    ~FunctionTable();
    FunctionTable(const FunctionTable&) = delete;
    FunctionTable& operator=(const FunctionTable&) = delete;

    HRXFUNCTIONS* get() { return &table_; }

private:
    static intptr_t Call(const wchar_t* name, intptr_t first, intptr_t second);
    static intptr_t Exists(const wchar_t* name);
    static intptr_t Register(const wchar_t* name, PluginServiceFn handler);

    Host& host_;
    HRXFUNCTIONS table_{};
};

}  // namespace tarnik::host
