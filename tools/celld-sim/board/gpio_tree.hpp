#pragma once

#include "base/file_watcher.hpp"
#include "board/board.hpp"

#include <filesystem>
#include <functional>
#include <map>
#include <span>
#include <string>

namespace bench {

/// How a line's files fail, as when the kernel's driver does.
enum class GpioFault {
    NONE,
    UNEXPORTABLE, ///< writing its number to `export` fails
    UNREADABLE,   ///< an input's value
    UNWRITABLE,   ///< an output's direction and value: the line stays as it is
};

/// The kernel's sysfs GPIO interface (Documentation/ABI/obsolete/sysfs-gpio) as plain files below a root:
/// `export` makes gpio<N>/direction and gpio<N>/value; "low" and "high" written to a direction read back as
/// "out".
///
/// Plain files cannot queue writes. A reader that comes late sees only the last one, so several exports in
/// one batch of events make all pins of the board appear, and several writes of a value in one batch count as
/// an edge. Pins that a former run left are taken over as they are. Our own writes replace the file and so
/// raise no event here.
class GpioTree {
public:
    /// What the control unit did to an output. `level` is logical: true is on whatever the polarity.
    struct Change {
        Line line;
        bool level;
        bool pulsed; ///< written more than once since the last look: the line was at the other level in
                     ///< between
        bool set_up = false; ///< by its direction, not by its value
    };

    /// @throws BenchError when the tree cannot be built
    GpioTree(const std::filesystem::path& root, BoardType board, FileWatcher& watcher);
    ~GpioTree();
    GpioTree(const GpioTree&) = delete;
    GpioTree& operator=(const GpioTree&) = delete;

    void on_change(std::function<void(const Change&)> callback) { on_change_ = std::move(callback); }

    /// Drives an input of the control unit (VINT, SIMLOCK); kept until the pin is exported.
    void drive(Line line, bool level);

    /// Logical level of an output as last seen; false while not exported or not an output.
    bool level(Line line) const;

    /// What the files of a line do from now on, given its name or number. A line that is unexportable is the
    /// only one left to export: a plain file cannot tell what was written to it. @throws BenchError for a
    /// line that this board has not, and a fault that it cannot have
    void fault(const std::string& line, GpioFault fault);

    /// Acts on everything seen since the last call; to be called at the end of a batch of events.
    void process();

private:
    struct PinState {
        Pin pin;
        GpioFault fault = GpioFault::NONE;
        bool exported = false;
        bool output = false;
        std::string value; ///< "0" or "1", as in the file
        bool direction_written = false;
        bool value_after = false; ///< a value was written behind the direction
        int value_writes = 0;
        int watch = -1;
    };

    PinState& find_pin(const std::string& line);
    void unexport(PinState& state);
    void open_export();
    void block_export();
    void put_files(const PinState& state);
    std::filesystem::path pin_path(const PinState& state, const char* file) const;
    void export_pending();
    void export_pin(PinState& state);
    void note_event(PinState& state, std::uint32_t mask, const std::string& name);
    void process_direction(PinState& state);
    void process_value(PinState& state);
    static bool logical(const PinState& state);
    void store_value(PinState& state, const std::string& value);

    std::filesystem::path base_;
    FileWatcher& watcher_;
    std::map<Line, PinState> pins_;
    std::function<void(const Change&)> on_change_;
    int export_watch_ = -1;
    int export_writes_ = 0;
};

} // namespace bench
