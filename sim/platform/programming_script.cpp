#include "platform/programming_script.hpp"

namespace sim
{

namespace
{

std::optional<std::size_t> stepIn(const Json& effect, const char* name)
{
    const Json step = effect[name];
    return step.isNull() ? std::nullopt : std::optional(step.as<std::size_t>());
}

} // namespace

ProgrammingScript ProgrammingScript::read(const Json& effect)
{
    ProgrammingScript script;
    script.percents = effect.value("percents", script.percents);
    script.stepDelay = std::chrono::milliseconds(effect.value("step_delay_ms", std::int64_t{10}));
    const auto codes = effect.value("codes", std::vector<std::int32_t>(3));
    script.codes = {codes.at(0), codes.at(1), codes.at(2)};
    script.failAt = stepIn(effect, "fail_at");
    script.throwAt = stepIn(effect, "throw_at");
    script.throwAtOnce = effect.value("throw_at_once", false);
    script.exceptionText = effect.value("exception_text", script.exceptionText);
    script.pauseAt = stepIn(effect, "pause_at");
    script.pauseGate = effect.value("pause_gate", script.pauseGate);
    script.otherThread = effect.value("other_thread", false);
    return script;
}

} // namespace sim
