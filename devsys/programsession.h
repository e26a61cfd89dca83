/**
 * @file
 * The back-end as a caller: opens a conversation with a registered or started program, calls its functions
 * and reads their answers, checking every item of them.
 */
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "devsys/backend.h"
#include "devsys/items.h"
#include "devsys/recorder.h"
#include "devsys/violations.h"

namespace zordev {

/** A parameter of a call to a program; values are the bytes that travel. */
struct ProgramParameter {
    std::string name;
    bool requested = false;             /**< The program is to send it back. */
    std::optional<std::string> value{}; /**< What a field goes with. */
    std::uint32_t width = 0;            /**< Bytes of a table's row; 0 for a field. */
    std::vector<std::string> rows{};    /**< What a table goes with, each row of `width` bytes. */
};

/** @name Parameters of the usual kinds. */
/** @{ */
ProgramParameter wantedParameter(std::string name);
/** A character field, padded with blanks. */
ProgramParameter textParameter(std::string name, std::string_view text, std::size_t length);
ProgramParameter intParameter(std::string name, std::int32_t value);
/** A string in UTF-8. */
ProgramParameter stringParameter(std::string name, std::string_view text);
/** A table that goes there and back. */
ProgramParameter tableParameter(std::string name, std::uint32_t width, std::vector<std::string> rows);
/** @} */

/** What came of a call to a program. */
struct ProgramAnswer {
    std::string failure;               /**< Why there is no answer; empty when there is one. */
    int kelRc = 0;                     /**< The gateway's code, when it found no program. */
    bool conversationOver = false;     /**< The program has ended the conversation, or it was lost. */
    std::vector<RecordedItem> items{}; /**< The answer, item by item. */

    /** Payload of the first item of this kind as text; empty if there is none. */
    std::string text(std::uint16_t id) const;
    /** The value of a field, if it came. */
    std::optional<std::string> field(std::string_view name) const;
    /** The rows of a table. */
    std::vector<std::string> table(std::string_view name) const;
};

/** How what a program sent ended. */
enum class StreamEnd {
    turn,   /**< It waits for more. */
    end,    /**< It has ended the conversation. */
    lost,   /**< It is gone. */
    timeout /**< It hasn't answered in time. */
};

/** A conversation's way to the program. */
class ProgramStream {
  public:
    virtual ~ProgramStream() = default;
    /** Sends a whole request with the right to send; false when the program is gone. */
    virtual bool send(ByteSpan request) = 0;
    /** Collects what the program sends until it ends or stops. */
    virtual StreamEnd receive(std::vector<Byte>& answer, std::chrono::milliseconds limit) = 0;
    /** Ends the conversation, after a timeout by cancelling it. */
    virtual void close(bool cancelled) = 0;
};

/** A conversation with a program, for one thread. */
class ProgramSession {
  public:
    /** `stream` is null when there is no program, for the `reason`. */
    ProgramSession(std::unique_ptr<ProgramStream> stream, const BackEndNames& names, ViolationLog& violations,
                   ProgramAnswer reason = {});
    /** Ends the conversation unless it is over. */
    ~ProgramSession();
    ProgramSession(ProgramSession&&) noexcept = default;
    ProgramSession& operator=(ProgramSession&&) noexcept = default;

    /** Calls a function. Without a program, or after the end, the answer says why there is none. */
    ProgramAnswer call(std::string_view function, const std::vector<ProgramParameter>& parameters);
    /** The same with items of the caller's own between function name and end. */
    ProgramAnswer callWithItems(std::string_view function, ByteSpan items);
    /** Whether further calls can be made. */
    bool open() const { return stream_ != nullptr; }

    /** Longest time that an answer may take. */
    std::chrono::milliseconds limit = std::chrono::seconds(60);
    std::string user = "DEMO";  /**< Whose session calls. */
    std::string client = "100"; /**< And in which client. */
    std::string mode;           /**< Items behind the header, as they travel, such as a transaction's mark. */
    bool trace = false;         /**< The first call asks the program for a trace. */

  private:
    void begin(std::string_view function);
    ProgramAnswer exchange();

    std::unique_ptr<ProgramStream> stream_;
    BackEndNames names_;
    ViolationLog* violations_;
    ProgramAnswer reason_;
    ItemWriter out_;
    bool first_ = true;      // nothing was sent yet
    bool answered_ = false;  // the program has shown its header
};

}  // namespace zordev
