// The table handed to pluginLoad: its entries run the named services one call at a time and
// trace each call.
#pragma once

#include "hrx/hrxcore.h"

namespace tarnik::host {

class Host;

class FunctionTable {
public:
    explicit FunctionTable(Host& host);  // one at a time: the C table has no context pointer
    ~FunctionTable();

    HRXFUNCTIONS* get() { return &table_; }

private:
    HRXFUNCTIONS table_{};
};

}  // namespace tarnik::host
