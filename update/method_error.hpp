#pragma once

/**
 * @file
 * Exceptions of a served method as D-Bus error replies.
 *
 * The binding library answers with an error only for its own exceptions; any other one would end
 * the process and leave the caller without a reply.
 */

#include <sdbusplus/exception.hpp>

#include <stdexcept>
#include <string>
#include <variant>

/** An error reply with a name and a text of the service's choosing. */
class MethodError final : public sdbusplus::exception::internal_exception
{
  public:
    /** @param text sent with "?" for each byte that is no UTF-8, which a reply cannot carry */
    MethodError(const char* name, std::string text);

    const char* name() const noexcept override { return name_; }
    const char* description() const noexcept override { return text_.c_str(); }
    const char* what() const noexcept override { return text_.c_str(); }
    int get_errno() const noexcept override;

  private:
    const char* name_;
    std::string text_;
};

/** The error reply for an exception that is in flight; the library's own are passed on. */
[[noreturn]] void throwAsMethodError();

/** Runs a method's body and turns its exceptions into error replies. */
template <typename Body>
auto answering(Body body)
{
    try
    {
        return body();
    }
    catch (...)
    {
        throwAsMethodError();
    }
}
