#pragma once

#include "inventory/version_records.hpp"
#include "service/component_table.hpp"
#include "service_test.hpp"

#include <algorithm>

/** The record as its description says, written down independently of the code that builds it. */
class ExpectedRecord
{
  public:
    ExpectedRecord()
    {
        number(0, 109);
        number(60, 114747);
    }

    /** Appends a string and points the given fields to it. */
    ExpectedRecord& with(std::size_t field, const std::string& text)
    {
        number(field, free_);
        std::ranges::copy(text, bytes_.begin() + static_cast<std::ptrdiff_t>(free_));
        free_ += static_cast<std::uint32_t>(text.size() + 1);
        number(0, free_);
        return *this;
    }

    ExpectedRecord& number(std::size_t offset, std::uint64_t value)
    {
        for (; value != 0; value >>= 8U)
        {
            bytes_.at(offset++) = static_cast<std::uint8_t>(value);
        }
        return *this;
    }

    const std::vector<std::uint8_t>& bytes() const { return bytes_; }

  private:
    static constexpr std::size_t recordSize = 4096;

    std::vector<std::uint8_t> bytes_ = std::vector<std::uint8_t>(recordSize, 0);
    std::uint32_t free_ = 109;
};

class VersionRecords : public ServiceTest
{
  protected:
    static constexpr auto function = "get_version_strings_from_SIPL";

    VersionRecords()
    {
        initialiseComponentTable(pbb, pdb, flop);
        pdb.fqdds = {"PDBCPLD.Embedded.1", "PDBCPLD.Embedded.2"};
        pdb.cpldVersions = {"1.2.3", "4.5.6"};
        pdb.sha256 = "before";
    }

    /** @param number counted from 1 */
    void askFor(std::uint8_t number)
    {
        get_version_strings_from_SIPL(pdb, InstanceIndex(number - 1U));
    }

    /** What every record of the second PDB begins with. */
    static ExpectedRecord description()
    {
        ExpectedRecord record;
        record.with(20, "0x803||PDBCPLD.Embedded.2").number(24, 109 + 5);
        return record.with(52, "PDB_CPLD.2").with(48, "4.5.6");
    }

    static Log describing()
    {
        return {
            fakes::traceLine("[%s]:pMDOH Enter:", function),
            fakes::traceLine("[%s]:pMDOH Enter:%s", function, "0x803||PDBCPLD.Embedded.2"),
            fakes::traceLine("[%s]: Key len:[%ld]", function, 26L),
            fakes::traceLine("[%s]: pmdohsize:[%zu], pmdohstrlen[%zu]", function, std::size_t{135},
                             std::size_t{26}),
            fakes::traceLine("[%s]: disName:[%s], dispName len:[%zu], pmdohsize:[%zu]\n", function,
                             "PDB_CPLD.2", std::size_t{11}, std::size_t{146}),
            fakes::traceLine("[%s]: versionCPLD[%s], versionCPLDLen[%zu], pmdohstrlen[%zu]",
                             function, "4.5.6", std::size_t{6}, std::size_t{43}),
            fakes::traceLine("[%s]: before calling SIPLGetAvailableVersionsWithSha256", function)};
    }

    static fakes::LogLine answered(const char* current, const char* previous, const char* digest)
    {
        return fakes::traceLine("[%s]: curr_ver:[%s] prev_ver:[%s] SHA256:[%s]\n", function,
                                current, previous, digest);
    }

    static fakes::LogLine line(const char* format) { return fakes::traceLine(format, function); }

    CpldInventory pbb;
    CpldInventory pdb;
    CpldInventory flop;
};
