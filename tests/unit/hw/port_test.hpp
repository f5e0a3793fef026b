#pragma once

#include "hw/programming_port.hpp"
#include "service/component_table.hpp"
#include "service_test.hpp"

#include <cerrno>

/** A board with two CPLDs of each kind; the tests switch the port of the second one. */
class PortTest : public ServiceTest
{
  protected:
    explicit PortTest(const char* functionName) : function(functionName)
    {
        initialiseComponentTable(pbb, pdb, flop);
        fakes::sysinfo().nodes = {"/dev/fake-other", device.path()};
    }

    /** Three failures in a row make a transfer fail. */
    static constexpr int failure = EIO;

    fakes::LogLine error(const char* format) const { return fakes::errorLine(format, function); }
    fakes::LogLine trace(const char* format) const { return fakes::traceLine(format, function); }

    static fakes::LogLine opening(int fd)
    {
        return fakes::traceLine("[%s] : Open fd Success, fd:%d\n", "openI2cfdUsingNodename", fd);
    }

    static fakes::LogLine transferred(int writeLength, int readLength)
    {
        return fakes::errorLine("[%s] : ioctl success: TA:0x%x, WL:%d, RL:%d\n", "tavrinWR", 0x63,
                                writeLength, readLength);
    }

    /** The log without the lines of transfers and of opening, which have tests of their own. */
    Log ownLog() const
    {
        Log own;
        for (const auto& line : fakes::platformLog())
        {
            if (line.text.starts_with("[" + std::string(function) + "]"))
            {
                own.push_back(line);
            }
        }
        return own;
    }

    const char* function;
    fakes::Cpld device{"/dev/fake-second"};
    CpldInventory pbb;
    CpldInventory pdb;
    CpldInventory flop;
};
