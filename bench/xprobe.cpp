// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Measures on an X server what a person waits for, from outside the program measured:
//
//   xprobe map TIMEOUT_MS
//     prints "ready" once it watches the screen, then "SECONDS WINDOW" when the first top-level
//     window is mapped (SECONDS on CLOCK_MONOTONIC, the clock of Python's time.monotonic(),
//     WINDOW in hex), or "timeout" after TIMEOUT_MS. Cold start and summon latency.
//   xprobe keys WINDOW N WARMUP
//     focuses WINDOW, types WARMUP + N letters with XTest and prints, for each of the last N,
//     the milliseconds from the key press to the window's first repaint (XDamage) on a line of
//     its own. Keystroke echo latency. Lines starting with "#" are remarks.
//
// Exits 0 on success, 1 on a timeout or a key that never repainted, 2 on bad use or a missing
// X extension.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/extensions/Xdamage.h>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>

namespace {

// Qt repaints a blinking caret as a narrow rectangle (10 to 12 pixels wide with the default
// font); a typed character repaints its whole line. Damage no wider than this is the caret.
constexpr int caretWidth = 16;
// How long a key may take to show, and how quiet the window must be before the next key.
constexpr int echoTimeoutMs = 2000;
constexpr int settleMs = 60;
constexpr int settleLimitMs = 1000;

double monotonicSeconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::optional<unsigned long> parseNumber(std::string_view text) {
    int base = 10;
    if (text.starts_with("0x")) {
        text.remove_prefix(2);
        base = 16;
    }
    unsigned long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
        return std::nullopt;
    }
    return value;
}

// Waits up to `timeoutMs` for the next event; returns false when none came.
bool nextEvent(Display* display, XEvent& event, int timeoutMs) {
    const double deadline = monotonicSeconds() + timeoutMs / 1000.0;
    while (XPending(display) == 0) {
        const int left = static_cast<int>((deadline - monotonicSeconds()) * 1000.0);
        if (left <= 0) {
            return false;
        }
        pollfd connection{ConnectionNumber(display), POLLIN, 0};
        if (poll(&connection, 1, left) < 0) {
            return false;
        }
    }
    XNextEvent(display, &event);
    return true;
}

int watchMap(Display* display, int timeoutMs) {
    const Window root = DefaultRootWindow(display);
    XSelectInput(display, root, SubstructureNotifyMask);
    XSync(display, False);
    std::printf("ready\n");
    std::fflush(stdout);
    const double deadline = monotonicSeconds() + timeoutMs / 1000.0;
    XEvent event;
    while (
        nextEvent(display, event, static_cast<int>((deadline - monotonicSeconds()) * 1000.0) + 1)) {
        // Menus and tooltips bypass the window manager; they are not a program's window.
        if (event.type == MapNotify && event.xmap.event == root && !event.xmap.override_redirect) {
            std::printf("%.6f 0x%lx\n", monotonicSeconds(), event.xmap.window);
            return 0;
        }
    }
    std::printf("timeout\n");
    return 1;
}

class KeyTyper {
public:
    KeyTyper(Display* display, Window window, int damageEvent)
        : m_display(display)
        , m_damageNotify(damageEvent + XDamageNotify)
        , m_damage(XDamageCreate(display, window, XDamageReportRawRectangles)) {}
    ~KeyTyper() { XDamageDestroy(m_display, m_damage); }
    KeyTyper(const KeyTyper&) = delete;
    KeyTyper& operator=(const KeyTyper&) = delete;

    /// Presses and releases the key of `letter`; returns the milliseconds until the window's
    /// first repaint wider than a caret, or nothing when none came in time.
    std::optional<double> type(char letter) {
        settle();
        const KeyCode key =
            XKeysymToKeycode(m_display, XStringToKeysym(std::string(1, letter).c_str()));
        XTestFakeKeyEvent(m_display, key, True, CurrentTime);
        XFlush(m_display);
        const double pressed = monotonicSeconds();
        std::optional<double> echo;
        XEvent event;
        while (!echo && nextEvent(m_display, event, echoTimeoutMs)) {
            if (isRepaint(event)) {
                echo = (monotonicSeconds() - pressed) * 1000.0;
            }
        }
        XTestFakeKeyEvent(m_display, key, False, CurrentTime);
        XFlush(m_display);
        return echo;
    }

private:
    bool isRepaint(const XEvent& event) const {
        if (event.type != m_damageNotify) {
            return false;
        }
        const auto& damage = reinterpret_cast<const XDamageNotifyEvent&>(event);
        return damage.area.width > caretWidth;
    }

    // Lets the program finish what the last key started, so that keys do not queue up.
    void settle() {
        const double limit = monotonicSeconds() + settleLimitMs / 1000.0;
        XEvent event;
        while (monotonicSeconds() < limit && nextEvent(m_display, event, settleMs)) {
        }
    }

    Display* m_display;
    int m_damageNotify;
    Damage m_damage;
};

int typeKeys(Display* display, Window window, int count, int warmup) {
    int damageEvent = 0;
    int damageError = 0;
    int xtestEvent = 0;
    int xtestError = 0;
    int major = 0;
    int minor = 0;
    if (!XDamageQueryExtension(display, &damageEvent, &damageError) ||
        !XTestQueryExtension(display, &xtestEvent, &xtestError, &major, &minor)) {
        std::fprintf(stderr, "xprobe: the X server lacks the DAMAGE or XTEST extension\n");
        return 2;
    }
    XSetInputFocus(display, window, RevertToPointerRoot, CurrentTime);
    KeyTyper typer(display, window, damageEvent);
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyz";
    int missed = 0;
    for (int i = 0; i < warmup + count; ++i) {
        const std::optional<double> echo = typer.type(letters[i % letters.size()]);
        if (i < warmup) {
            continue;
        }
        if (echo) {
            std::printf("%.3f\n", *echo);
        } else {
            std::printf("# key %d: no repaint within %d ms\n", i - warmup, echoTimeoutMs);
            ++missed;
        }
    }
    return missed == 0 ? 0 : 1;
}

int usage() {
    std::fprintf(stderr, "usage: xprobe map TIMEOUT_MS\n       xprobe keys WINDOW N WARMUP\n");
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        return usage();
    }
    const std::string_view mode = argv[1];
    const auto argument = [&](int index) {
        return index < argc ? parseNumber(argv[index]) : std::nullopt;
    };
    const bool mapMode = mode == "map" && argc == 3 && argument(2);
    const bool keysMode = mode == "keys" && argc == 5 && argument(2) && argument(3) && argument(4);
    if (!mapMode && !keysMode) {
        return usage();
    }
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr) {
        std::fprintf(stderr, "xprobe: cannot open the X display (is DISPLAY set?)\n");
        return 2;
    }
    const int status =
        mapMode ? watchMap(display, static_cast<int>(*argument(2)))
                : typeKeys(display, static_cast<Window>(*argument(2)),
                           static_cast<int>(*argument(3)), static_cast<int>(*argument(4)));
    XCloseDisplay(display);
    return status;
}
