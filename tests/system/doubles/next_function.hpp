#pragma once

/** The function of this name that this library stands in front of. Ends the process without one. */
void* nextFunction(const char* name);

/** The same with its type, taken from the declaration that this library shadows. */
template <typename Function>
Function* nextFunction(const char* name, Function* /*shadow*/)
{
    return reinterpret_cast<Function*>(nextFunction(name));
}
