// What libEnumPorts hands back, gathered in order: the port numbers and their names.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "link/link_library_abi.h"

namespace tarnik::test {

struct EnumeratedPorts {
    EnumeratedPorts() = default;
    EnumeratedPorts(const EnumeratedPorts&) = delete;  // the arrays point into this object
    EnumeratedPorts& operator=(const EnumeratedPorts&) = delete;

    std::vector<uint32_t> numbers;
    std::vector<std::u16string> names;
    LinkUIntArray numberArray{&numbers, [](void* self, uint32_t value) {
                                  static_cast<std::vector<uint32_t>*>(self)->push_back(value);
                              }};
    LinkWStringArray nameArray{&names, [](void* self, const char16_t* text) {
                                   static_cast<std::vector<std::u16string>*>(self)->push_back(text);
                               }};
};

}  // namespace tarnik::test
