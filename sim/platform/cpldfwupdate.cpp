#include "platform/cpldfwupdate.hpp"

#include "platform/programming_run.hpp"

#include <exception>
#include <memory>
#include <utility>

namespace
{

/** What an object of the library keeps after its run. */
struct Outcome
{
    cpldfwupdate_error_code codes;
};

sim::Json jsonOf(const cpldfwupdate_error_code& codes)
{
    return {{"i2cdriver", codes.i2cdriver}, {"dup", codes.dup}, {"upd", codes.upd}};
}

cpldfwupdate_error_code run(sim::Board& board, sim::ProgrammingOrder order)
try
{
    const sim::Json effect =
        board.happen("programming", {{"component", order.component}, {"index", order.deviceIndex}});
    sim::ProgrammingRun run(board, std::move(order), sim::ProgrammingScript::read(effect));
    const cpldfwupdate_error_code codes = run.perform();
    sim::traceCall("cpldfwupdate.finish", sim::Json::object(), jsonOf(codes));
    return codes;
}
catch (const std::exception& error)
{
    sim::traceCall("cpldfwupdate.throw", {{"text", error.what()}});
    throw;
}

} // namespace

cpldfwupdate::cpldfwupdate(std::string component, unsigned int device_index,
                           std::string payload_path, void (*progress)(unsigned int),
                           unsigned int log_module) :
    run_(nullptr)
{
    auto outcome = std::make_unique<Outcome>(Outcome{sim::programming_error::noBoard});
    sim::traceCall("cpldfwupdate.construct", {{"component", component},
                                              {"index", device_index},
                                              {"payload", payload_path},
                                              {"log_module", log_module}});
    if (sim::Board* board = sim::Board::find(); board != nullptr)
    {
        outcome->codes =
            run(*board, {std::move(component), device_index, std::move(payload_path), progress});
    }
    run_ = outcome.release();
}

cpldfwupdate::~cpldfwupdate()
{
    const std::unique_ptr<Outcome> outcome(static_cast<Outcome*>(run_));
    sim::traceCall("cpldfwupdate.destroy", sim::Json::object());
}

cpldfwupdate_error_code cpldfwupdate::get_error_code()
{
    const cpldfwupdate_error_code codes = static_cast<Outcome*>(run_)->codes;
    sim::traceCall("cpldfwupdate.get_error_code", sim::Json::object(), jsonOf(codes));
    return codes;
}
