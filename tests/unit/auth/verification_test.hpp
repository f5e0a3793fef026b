#pragma once

#include "auth/openssl_calls.hpp"
#include "auth/signing.hpp"
#include "service/tavrinupdate.hpp"
#include "service/update_request.hpp"
#include "service_test.hpp"

#include <iterator>

/** A payload for a PBB whose keys are on the controller. */
class Verification : public ServiceTest
{
  protected:
    static constexpr auto function = "verifySignature";
    static constexpr auto defaultKey = "/etc/shared_keys/i2cpld/K4/default.pub";
    static constexpr auto xKey = "/etc/shared_keys/i2cpld/K4/xrev.pub";

    static constexpr std::size_t mebibyte = 0x100000;
    static constexpr std::size_t signatureLength = 96;

    Verification()
    {
        fakes::resetOpenssl();
        updateRequest().CompId = 114678;
        fakes::write(fakes::placeOf(defaultKey), key().publicPem());
        fakes::clearPlatformLog();
        descriptorsBefore = openDescriptors();
    }

    void TearDown() override
    {
        fakes::resetOpenssl();
        EXPECT_EQ(openDescriptors(), descriptorsBefore) << "files left open";
        ServiceTest::TearDown();
    }

    static const SigningKey& key()
    {
        static const auto made = SigningKey::onCurve("P-384");
        return made;
    }

    static std::ptrdiff_t openDescriptors()
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    std::string path = (fakes::scratchFolder() / "fw.payload").string();

    void payloadIs(std::string_view content) const { fakes::write(path, content); }

    bool verify() const { return Tavrinupdate::verifySignature(path); }

    fakes::LogLine begun() const
    {
        return fakes::traceLine("[%s] : PayloadPath: %s\n", function, path.c_str());
    }

    /** The lines up to the point where the default key is loaded. */
    Log begunWithDefaultKey() const
    {
        return {begun(), fakes::traceLine("[%s] : Processing PBB component\n", "pub_key_setter"),
                fakes::traceLine("[%s] : Processing default pbb public key\n", "pub_key_setter"),
                fakes::traceLine("[%s] : Selected public key file: %s\n", "pub_key_setter",
                                 defaultKey)};
    }

    void expectLog(const Log& end) const
    {
        auto expected = begunWithDefaultKey();
        expected.insert(expected.end(), end.begin(), end.end());
        EXPECT_EQ(fakes::platformLog(), expected);
    }

    /** The payload is refused with these lines behind the choice of the key. */
    void expectRefusal(const Log& lines) const
    {
        EXPECT_FALSE(verify());
        expectLog(lines);
    }

    /** The payload is refused before anything is read. */
    void expectNotOpened() const
    {
        EXPECT_FALSE(verify());
        const auto line =
            fakes::errorLine("[%s] : Error opening file: %s\n", function, path.c_str());
        EXPECT_EQ(fakes::platformLog(), (Log{begun(), line}));
    }

    static fakes::LogLine error(const char* format) { return fakes::errorLine(format, function); }
    static fakes::LogLine accepted()
    {
        return fakes::traceLine("[%s] : Signature verification is successful\n", function);
    }
    static fakes::LogLine notSigned() { return error("[%s] : Error in signature verification\n"); }
    static fakes::LogLine noSize() { return error("[%s] : Error in getting file size\n"); }
    static fakes::LogLine noDer()
    {
        return error("[%s] : Error in converting PEM public key to DER format\n");
    }

    std::ptrdiff_t descriptorsBefore = 0;
};
