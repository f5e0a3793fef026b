#pragma once

/** The function of this name that this library stands in front of. Ends the process without one. */
void* nextFunction(const char* name);

/**
 * The same with its type, taken from the declaration that this library shadows.
 *
 * Hidden: of two of these libraries in one process, the second would get the first one's, which
 * finds the second's own function again.
 */
template <typename Function>
__attribute__((visibility("hidden"))) Function* nextFunction(const char* name, Function* /*shadow*/)
{
    return reinterpret_cast<Function*>(nextFunction(name));
}
