/**
 * @file
 * Any payload, and any key file, through the real verification.
 *
 * An input is a line with the first letter of the component (PBB, pDb, Flop), a line with the
 * number of bytes of a key file (0: the controller's own keys), that file, and the payload.
 */

#include "auth/openssl_handles.hpp"
#include "fakes/files.hpp"
#include "fakes/platform_log.hpp"
#include "input.hpp"
#include "require.hpp"
#include "service/cpld_inventory.hpp"
#include "service/tavrinupdate.hpp"
#include "service/update_request.hpp"

#include <openssl/pem.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace
{

using namespace fuzz;
namespace fs = std::filesystem;

/** Where the controller has its keys, and which of signed/ it is. */
constexpr auto keyFiles = std::to_array<std::pair<const char*, const char*>>({
    {"/etc/shared_keys/i2cpld/K4/default.pub", "default.pub"},
    {"/etc/shared_keys/i2cpld/K4/xrev.pub", "xrev.pub"},
    {"/etc/shared_keys/i2cpld/K4/arev.pub", "arev.pub"},
    {"/etc/shared_keys/flop/K4/flop.pub", "default.pub"},
    {"/etc/shared_keys/flop/K4/Xrev/flop.pub", "xrev.pub"},
    {"/etc/shared_keys/flop/K4/Arev/flop.pub", "arev.pub"},
});

std::string signedFile(const std::string& name)
{
    return fakes::contentOf(fs::path(FUZZ_SIGNED_FOLDER) / name);
}

/** The payloads that were signed, each with the key that its header asks for. */
const std::vector<std::string>& goodPayloads()
{
    static const std::vector<std::string> payloads{
        signedFile("fw.payload"),
        signedFile("shortest"),
        signedFile("for_x_revision"),
        signedFile("for_a_revision"),
    };
    return payloads;
}

bool isGood(const std::string& payload)
{
    return std::ranges::count(goodPayloads(), payload) > 0;
}

/** Puts the controller's keys in their places, or another file in all of them. */
void placeKeys(const std::string& other)
{
    static std::string placed = "none";
    if (std::exchange(placed, other) == other)
    {
        return;
    }
    for (const auto& [path, own] : keyFiles)
    {
        fakes::write(fakes::placeOf(path), other.empty() ? signedFile(own) : other);
    }
}

PublicKeyPtr keyIn(const std::string& pem)
{
    const BioPtr bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    return PublicKeyPtr(PEM_read_bio_PUBKEY(bio.get(), nullptr, nullptr, nullptr));
}

/** Whether a key file holds one of the keys that something was signed with. */
bool isGoodKey(const std::string& pem)
{
    const auto key = keyIn(pem);
    return key != nullptr &&
           std::ranges::any_of(
               std::array{"default.pub", "xrev.pub", "arev.pub"}, [&](const char* name)
               { return EVP_PKEY_eq(key.get(), keyIn(signedFile(name)).get()) == 1; });
}

std::uint32_t componentOf(const std::string& name)
{
    constexpr std::uint32_t unknown = 1;
    return name == "P"   ? component_id::pbb
           : name == "D" ? component_id::pdb
           : name == "F" ? component_id::flop
                         : unknown;
}

bool verify(std::uint32_t component, const std::string& payload)
{
    const auto path = fakes::scratchFolder() / "fw.payload";
    fakes::clearPlatformLog();
    fakes::write(path, payload);
    updateRequest().CompId = component;
    return Tavrinupdate::verifySignature(path.string());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const auto component = componentOf(input.line());
    const auto key =
        input.take(static_cast<std::size_t>(std::max<std::int64_t>(0, input.number())));
    const auto payload = input.rest();

    static const bool prepared = (fakes::resetFiles(), fakes::refuseLogFile('a'), true);
    static_cast<void>(prepared);
    placeKeys(key);
    const bool accepted = verify(component, payload);
    const bool known = component != componentOf("") && isGood(payload);
    require(known || !accepted, "nothing is accepted that nobody signed");
    if (key.empty())
    {
        require(accepted || !known, "what was signed is accepted");
    }
    else
    {
        require(!accepted || isGoodKey(key), "no key accepts what it has not signed");
    }
    return 0;
}
