// What the NDK's header of this name declares, as far as the project uses it.
#pragma once

#define PROP_VALUE_MAX 92

extern "C" int __system_property_get(const char* name, char* value);
