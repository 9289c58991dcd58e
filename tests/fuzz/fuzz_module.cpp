#include "modem/urc_inbox.hpp"
#include "status/antenna_handler.hpp"
#include "status/status_handler.hpp"
#include "support/manual_clock.hpp"
#include "variant/sara_modem.hpp"
#include "variant/toby_modem.hpp"

#include <ecu/kova/log_tap.hpp>

#include <cstddef>
#include <cstdint>

namespace {

constexpr int ROUNDS = 8; // in each all questions are asked

/// A module that says something, no matter what it was asked: to each command the next piece of the input. A
/// piece without a final line is a time-out; what belongs to no command is a report.
class BabblingPort final : public AtTtyPort {
public:
    BabblingPort(std::string input, Clock& clock, UrcQueue& reports)
        : AtTtyPort({}, clock), input_(std::move(input)), reports_(reports)
    {
    }

    using AtTtyPort::execute;
    Result execute(const AtCommand& command) override
    {
        parser_.active_command(command);
        parser_.feed_input(next());
        auto result = Result::err({AtErrorCode::Timeout, "", ""});
        for (auto& response : parser_.take_responses()) {
            if (response.type == AtCommandResponse::Type::Final) {
                result = AtCommand::exec_result(std::move(response));
            } else {
                reports_.push(response);
            }
        }
        parser_.timeout_active_command();
        return result;
    }
    bool is_running() const override { return true; }

    bool has_more() const { return position_ < input_.size(); }

private:
    std::string next()
    {
        const auto begin = position_;
        const auto end = std::min(input_.find('\0', begin), input_.size());
        position_ = std::min(end + 1, input_.size());
        return input_.substr(begin, end - begin);
    }

    const std::string input_;
    std::size_t position_ = 0;
    AtParser parser_;
    UrcQueue& reports_;
};

/// What asks the module for something and takes its reports, on the network.
class Listeners {
public:
    Listeners(const std::string& input, bool toby)
        : port_(std::make_shared<BabblingPort>(input, clock_, reports_)),
          variant_(toby ? std::shared_ptr<ModemVariant>(std::make_shared<TobyModem>(clock_))
                        : std::make_shared<SaraModem>(clock_))
    {
        sim_.variant(variant_);
        SimConfiguration card;
        card.pin = "1234";
        data_.internal_sim = data_.external_sim = SimAccess(card);
        for (auto state = machine_.state(); state != ModemState::REGISTERED;
             state = row_of(state).usual_next.value()) {
            machine_.change(state, "fuzz");
        }
        machine_.change(ModemState::REGISTERED, "fuzz");
    }

    void listen()
    {
        for (int round = 0; round < ROUNDS && port_->has_more(); ++round) {
            ask();
            inbox_.process();
            clock_.advance(std::chrono::minutes(1));
        }
    }

private:
    void ask()
    {
        registration_.update();
        sim_.forget_ready();
        sim_.unlock_pin();
        static_cast<void>(sim_.is_external_simcard_present());
        status_.update(true, true);
        antenna_.update();
        static_cast<void>(search_.query_active());
        static_cast<void>(variant_->is_pdp_context_active(port_));
        static_cast<void>(variant_->activate_pdp_context(port_));
        static_cast<void>(variant_->setup_eth_over_usb(port_));
        BackoffQuerySchedule due{clock_.now()};
        static_cast<void>(variant_->check_backoff_timer(port_, 1, due));
    }

    ManualClock clock_;
    UrcQueue reports_;
    ModemData data_;
    const std::shared_ptr<BabblingPort> port_;
    const std::shared_ptr<ModemVariant> variant_;
    StateMachine machine_{data_, clock_};
    NetworkSearch search_{*port_, clock_};
    RegistrationWatch registration_{*port_, variant_, data_, machine_, search_, clock_};
    SimHandler sim_{port_, &data_, clock_};
    UrcInbox inbox_{reports_, data_, sim_, registration_, machine_, clock_};
    StatusHandler status_{port_, &data_, clock_};
    AntennaHandler antenna_{port_, &data_, nullptr, {}, {10, 100}, clock_};
};

} // namespace

/// The first byte chooses the family; behind it the module's answers, with a zero byte between them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ecu::kova::logging::set_tap([](void*, auto, const auto&, const auto&) {}, nullptr);
    if (size > 0) {
        Listeners({data + 1, data + size}, (data[0] & 1) != 0).listen();
    }
    return 0;
}
