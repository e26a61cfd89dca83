/** @file Passwords and the like: read without ever standing on a command line, wiped after use. */
#pragma once

#include <string>
#include <string_view>

namespace zortool {

/** A text that is overwritten before its memory goes back. */
class Secret {
  public:
    Secret() = default;
    explicit Secret(std::string text) : text_(std::move(text)) {}
    Secret(Secret&& other) noexcept : text_(std::move(other.text_)) { other.wipe(); }
    Secret& operator=(Secret&& other) noexcept;
    ~Secret() { wipe(); }

    const std::string& text() const { return text_; }

  private:
    void wipe() noexcept;

    std::string text_;
};

/**
 * Reads a secret from where the user said it is.
 *
 * @param source "prompt" (the terminal, without echo), "fd:N" (an open file descriptor up to its end or the
 *        first line end), "file:PATH" or "env:NAME".
 * @param question what a prompt asks, as "Password of DEMO".
 * Throws a `Problem` if the source is none or gives nothing. The message never repeats a source that is none:
 * it might be the secret.
 */
Secret readSecret(std::string_view source, const std::string& question);

/** Whether there is a terminal to ask at. */
bool canPrompt();

/** Switches the echo of the terminal back on if a prompt has it off; for whoever ends the process meanwhile.
 */
void restoreTerminal() noexcept;

}  // namespace zortool
