#include "platform/programming_run.hpp"

#include "board/pause.hpp"

#include <fcntl.h>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace sim
{

namespace
{

constexpr cpldfwupdate_error_code success{0, 0, 0};

Bytes bytesOf(const std::string& text)
{
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

/** Tells the device that the run is over, however it ends. */
class ImageSession
{
  public:
    explicit ImageSession(Cpld& device) : device_(device) {}
    ImageSession(const ImageSession&) = delete;
    ImageSession& operator=(const ImageSession&) = delete;
    ImageSession(ImageSession&&) = delete;
    ImageSession& operator=(ImageSession&&) = delete;
    ~ImageSession() { device_.endImage(); }

  private:
    Cpld& device_;
};

} // namespace

bool isSuccess(const cpldfwupdate_error_code& codes)
{
    return codes.i2cdriver == 0 && codes.dup == 0 && codes.upd == 0;
}

ProgrammingRun::ProgrammingRun(Board& board, ProgrammingOrder order, ProgrammingScript script) :
    board_(board), order_(std::move(order)), script_(std::move(script))
{
}

cpldfwupdate_error_code ProgrammingRun::perform()
{
    if (script_.throwAtOnce)
    {
        throw std::runtime_error(script_.exceptionText);
    }
    Cpld* device = board_.device(order_.component, order_.deviceIndex);
    if (device == nullptr)
    {
        return programming_error::noDevice;
    }
    const cpldfwupdate_error_code codes = loadPayload(device->description().kind);
    return isSuccess(codes) ? program(*device) : codes;
}

cpldfwupdate_error_code ProgrammingRun::loadPayload(Kind kind)
try
{
    payload_ = readFile(order_.payloadPath);
    image_ = imageOfPayload(bytesOf(payload_));
    const auto header = ImageHeader::read(image_);
    if (!header)
    {
        return programming_error::noImage;
    }
    if (header->kind != kind)
    {
        return programming_error::wrongKind;
    }
    return header->imageSize() == image_.size() ? success : programming_error::wrongLength;
}
catch (const std::system_error&)
{
    return programming_error::unreadablePayload;
}

cpldfwupdate_error_code ProgrammingRun::program(Cpld& device)
{
    // Its lock tells everybody that the run is alive; it goes when the process is killed.
    const File runLock(device.description().stateFile, O_RDWR);
    if (!ByteLock::tryToKeep(runLock, runByte))
    {
        return programming_error::deviceBusy;
    }
    if (!device.beginImage(board_.description()->platformId))
    {
        return programming_error::writeRefused;
    }
    const ImageSession session(device);
    return steps(device);
}

cpldfwupdate_error_code ProgrammingRun::steps(Cpld& device)
{
    for (std::size_t step = 0; step < script_.percents.size(); ++step)
    {
        interfere(step);
        if (script_.failAt == step)
        {
            return script_.codes;
        }
        if (!writeUpTo(device, step))
        {
            return programming_error::writeRefused;
        }
        report(script_.percents[step]);
        pauseFor(script_.stepDelay);
    }
    return script_.codes;
}

void ProgrammingRun::interfere(std::size_t step) const
{
    if (script_.pauseAt == step)
    {
        waitAtGate(script_.pauseGate);
    }
    if (script_.throwAt == step)
    {
        throw std::runtime_error(script_.exceptionText);
    }
}

/** The first step has written nothing yet and the last one everything, as their percentages say. */
bool ProgrammingRun::writeUpTo(Cpld& device, std::size_t step)
{
    const std::size_t lastStep = script_.percents.size() - 1;
    const std::size_t end = lastStep == 0 ? image_.size() : image_.size() * step / lastStep;
    const Bytes chunk = image_.subspan(written_, end - written_);
    written_ = end;
    return device.programImage(chunk, board_.description()->platformId);
}

void ProgrammingRun::report(unsigned int percent) const
{
    traceCall("cpldfwupdate.progress", {{"percent", percent}});
    if (script_.otherThread)
    {
        std::thread(order_.progress, percent).join();
    }
    else
    {
        order_.progress(percent);
    }
}

} // namespace sim
