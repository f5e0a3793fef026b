#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace fakes
{

/** What happens when the service makes a call of OpenSSL's. @return whether the call fails */
using OpensslAction = std::function<bool()>;

/**
 * Runs an action at every call of one function until the next resetOpenssl().
 *
 * The calls go on to OpenSSL unless the action says that they fail. The allocation of the read
 * buffer goes by the name "new", that of the key's buffer by "malloc".
 */
void atOpensslCall(const std::string& name, OpensslAction action);

/** Makes every call of one function fail as OpenSSL's own does. */
void failOpensslCall(const std::string& name);

/** Makes every call of one function answer with a number instead of doing anything. */
void answerOpensslCall(const std::string& name, std::int64_t answer);

/** For the fakes: runs the action of a call. @return whether the call is to fail */
bool fails(const char* name);

/** Names of the calls that were made, but for those that only release something. */
std::vector<std::string>& opensslCalls();

/** Sizes of the pieces that were given to the verifier. */
std::vector<std::size_t>& digestedPieces();

void resetOpenssl();

} // namespace fakes
