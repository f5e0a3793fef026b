#include "auth/constructed_signature.hpp"

#include "auth/verification_test.hpp"
#include "case_name.hpp"

namespace
{

using p384::bytesOf;
using p384::number;
using p384::order;

/** Two numbers in the place of a good signature's. */
struct Forgery
{
    const char* name;
    std::string (*make)(const ConstructedSignature& good);
};

/** A payload with the smallest signature there can be, so that the order may be added to it. */
class SignatureNumbers : public Verification, public testing::WithParamInterface<Forgery>
{
  protected:
    SignatureNumbers()
    {
        fakes::write(fakes::placeOf(defaultKey), good.publicPem);
        payloadIs(data + GetParam().make(good));
    }

    const std::string data = payloadData(140);
    const ConstructedSignature good =
        constructSignature(data, p384::pointNear(number("1"), 1, false), number("1"));
};

std::string negated(const BignumPtr& number)
{
    return bytesOf(p384::difference(order(), number));
}

std::string beyondTheOrder(const BignumPtr& number)
{
    return bytesOf(p384::sum(order(), number));
}

std::string reversed(const std::string& bytes)
{
    return {bytes.rbegin(), bytes.rend()};
}

std::string shortened(const std::string& bytes)
{
    return bytes.substr(1) + '\0';
}

class AcceptedSignatureNumbers : public SignatureNumbers
{
};

TEST_P(AcceptedSignatureNumbers, AreASignature)
{
    EXPECT_TRUE(verify());
    expectLog({accepted()});
}

INSTANTIATE_TEST_SUITE_P(Table, AcceptedSignatureNumbers,
                         testing::Values(Forgery{"AsTheyAre",
                                                 [](const auto& good) { return good.bytes(); }},
                                         // ECDSA itself cannot tell s from its negation.
                                         Forgery{"SNegated", [](const auto& good)
                                                 { return bytesOf(good.r) + negated(good.s); }}),
                         CaseName{});

class RefusedSignatureNumbers : public SignatureNumbers
{
};

TEST_P(RefusedSignatureNumbers, AreNoSignature)
{
    expectRefusal({notSigned()});
}

const std::string zero(48, '\0');
const std::string ones(48, '\xFF');

INSTANTIATE_TEST_SUITE_P(
    Table, RefusedSignatureNumbers,
    testing::Values(
        Forgery{"RZero", [](const auto& good) { return zero + bytesOf(good.s); }},
        Forgery{"SZero", [](const auto& good) { return bytesOf(good.r) + zero; }},
        Forgery{"BothZero", [](const auto&) { return zero + zero; }},
        Forgery{"ROfOnes", [](const auto& good) { return ones + bytesOf(good.s); }},
        Forgery{"SOfOnes", [](const auto& good) { return bytesOf(good.r) + ones; }},
        Forgery{"BothOfOnes", [](const auto&) { return ones + ones; }},
        Forgery{"RTheOrder", [](const auto& good) { return bytesOf(order()) + bytesOf(good.s); }},
        Forgery{"STheOrder", [](const auto& good) { return bytesOf(good.r) + bytesOf(order()); }},
        Forgery{"BothTheOrder", [](const auto&) { return bytesOf(order()) + bytesOf(order()); }},
        Forgery{"RPlusTheOrder",
                [](const auto& good) { return beyondTheOrder(good.r) + bytesOf(good.s); }},
        Forgery{"SPlusTheOrder",
                [](const auto& good) { return bytesOf(good.r) + beyondTheOrder(good.s); }},
        Forgery{"BothPlusTheOrder",
                [](const auto& good) { return beyondTheOrder(good.r) + beyondTheOrder(good.s); }},
        Forgery{"RNegated", [](const auto& good) { return negated(good.r) + bytesOf(good.s); }},
        Forgery{"BothNegated", [](const auto& good) { return negated(good.r) + negated(good.s); }},
        Forgery{"Exchanged", [](const auto& good) { return bytesOf(good.s) + bytesOf(good.r); }},
        Forgery{"RLittleEndian",
                [](const auto& good) { return reversed(bytesOf(good.r)) + bytesOf(good.s); }},
        Forgery{"SLittleEndian",
                [](const auto& good) { return bytesOf(good.r) + reversed(bytesOf(good.s)); }},
        Forgery{"NotPaddedInFront", [](const auto& good)
                { return shortened(bytesOf(good.r)) + shortened(bytesOf(good.s)); }}),
    CaseName{});

} // namespace
