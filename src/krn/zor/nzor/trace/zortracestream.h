/** @file The stream under a trace file. */
#pragma once

#include <kelzor/types.h>

#include <cstdarg>
#include <initializer_list>
#include <string_view>

#include "error/zorexception.h"

/**
 * A file that is opened for appending, readable by its owner alone and never reached through a symbolic
 * link. What is written is collected and goes out with `flush`. A stream that can't be opened, or that
 * failed once, takes what is written and loses it without a message; its owner goes on.
 */
class KEL_ofstream {
  public:
    KEL_ofstream() = default;
    KEL_ofstream(KEL_ofstream&& other) noexcept;
    KEL_ofstream& operator=(KEL_ofstream&& other) noexcept;
    ~KEL_ofstream();

    void open(const KEL_string& name) noexcept;
    void close() noexcept;
    bool isOpen() const noexcept { return descriptor >= 0; }
    /** Length of the file in bytes, 0 if it isn't open. Asks the system. */
    unsigned long long length() noexcept;
    /** The same as this stream has counted it, without what others wrote or cut off since it last asked. */
    unsigned long long countedLength() const noexcept { return counted; }

    void write(std::string_view text);
    /** The pieces one behind the other: a trace has many, and formatting would cost more than the writing. */
    void write(std::initializer_list<std::string_view> pieces);
    [[gnu::format(printf, 2, 3)]] void print(const KEL_UC* format, ...);
    /** At most 1023 characters of the formatted text. */
    [[gnu::format(printf, 2, 0)]] void vprint(const KEL_UC* format, va_list arguments);
    void flush() noexcept;

  private:
    int descriptor = -1;
    unsigned long long counted = 0;
    KEL_string pending;
};
