#pragma once

#include "input.hpp"

#include <systemd/sd-bus.h>

namespace fuzz
{

/**
 * Puts a body into a message: a line with its signature, then the values.
 *
 * A number or text is a line; a boolean is one of a number. A variant is a line with the signature
 * of its content, then the content; an array is a line with the number of its elements, then those.
 * Capitals stand for the names that everybody uses: see expanded().
 *
 * @return whether the message can be sent; it is not where a text or signature is none
 */
bool appendBody(sd_bus_message* message, Input& input);

/**
 * A text of the input, where a capital stands for a name of the service or its neighbours; digits
 * may follow, as in P2, the second PBB.
 *
 * So an input is mostly about what happens, and random changes rarely hit a long name.
 */
std::string expanded(std::string text);

/** A line of the input, expanded. */
inline std::string textOf(Input& input)
{
    return expanded(input.line());
}

} // namespace fuzz
