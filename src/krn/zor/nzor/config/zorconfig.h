/** @file The process-wide configuration: the ini file, its destinations, and the trace settings. */
#pragma once

#include <kelzor/types.h>

#include <atomic>
#include <string_view>

#include "config/zoroptions.h"

/** Encoding of the trace files. In this build it changes how a file is opened, not what is written. */
enum TRACE_ENCODING { TRACE_NATIVE = 0, TRACE_UTF8 = 1, TRACE_UTF16 = 2 };

/**
 * What the configuration tells the layers that stand above it and own the transport. A null member is
 * passed over. The functions are called with the configuration's lock held and may not throw.
 */
struct ZorLowerLayerHooks {
    /** Level 0 to 3 of the lower layers' trace and the name of its file. */
    void (*setCpicTraceLevel)(unsigned level, const KEL_UC* fileName) noexcept = nullptr;
    /** Size of socket buffers in bytes, never 0. */
    void (*setNISocketBufferSize)(unsigned size) noexcept = nullptr;
};

/**
 * Settings of the process; all operations are static in effect and may be called from any thread.
 *
 * The file and the environment are read at the first use of any getter. `cs_refresh` covers the reading;
 * it comes before the trace locks, so it is never taken by a thread that holds one of those.
 */
class ZorConfig {
  public:
    /** Makes the one object with its default values. Reads nothing. Further calls change nothing. */
    static void init();

    /** Reads the environment and the ini file if that is due. Throws only what memory shortage throws. */
    static void refresh();

    /** Like refresh, whether it is due or not. */
    static void reload();

    /**
     * The level 0 to 3 where no connection or destination says otherwise; runs a due refresh first.
     * One load of one word otherwise: every field accessor comes through here.
     */
    static unsigned getGlobalTraceLevel() noexcept {
        const unsigned word = levelWord.load(std::memory_order_acquire);
        if (word < refreshDue) [[likely]]
            return word;
        return refreshedTraceLevel();
    }
    static void setGlobalTraceLevel(unsigned level) noexcept;

    /** Takes the directory of the ini file, NULL for the current one. A changed path is read at once; if
     * memory runs out on the way, the old one stays. */
    static void setIniPath(const KEL_UC* pathName);

    /** Whether each thread has a trace file of its own. */
    static bool traceByThread() noexcept;
    /** Directory of the trace files, ending in a slash. */
    static KEL_string getTraceDir();
    /** Throws ZorInvalidParameterException unless the directory can be read and written. */
    static void setTraceDirectory(const KEL_UC* name);
    static TRACE_ENCODING getTraceEncoding() noexcept;
    static void setTraceEncoding(TRACE_ENCODING encoding) noexcept;
    static void setTraceType(bool byThread) noexcept;

    static unsigned getGlobalCpicTraceLevel() noexcept;
    /** Stores the level, at most 3, and hands it to the lower layers. */
    static void setGlobalCpicTraceLevel(unsigned level);
    /** Hands a size in bytes to the lower layers; 0 does nothing. */
    static void setGlobalNISocketBufferSize(unsigned size) noexcept;
    /** To be set before the first refresh, which is the first to call them. */
    static void setLowerLayerHooks(const ZorLowerLayerHooks& hooks) noexcept;

    /**
     * Copies a destination's options whole over `options`; a trace level that it leaves open becomes the
     * global one. A name that isn't known, or NULL, leaves `options` as they are.
     */
    static void getDestinationOptions(const KEL_UC* destination, ZorOptions& options);
    /**
     * Level of a destination, or the global level where that has none or isn't known. Takes no lock as
     * long as no destination has a level of its own: every look into a repository comes through here.
     */
    static unsigned getDestinationTraceLevel(std::string_view destination) noexcept;
    /** Throws ZorInvalidParameterException for a destination that isn't known. */
    static void setDestinationTraceLevel(const KEL_string& destination, unsigned level);

    /** Seconds between two looks at a logon group. */
    static int getLogonGroupCheckInterval() noexcept;
    /** Lower bound of what ZorSetTraceLevel may set. */
    static unsigned getMinimumTraceLevel() noexcept;
    /** Whether a trace level that a partner sends is taken. */
    static bool getAcceptExportedTrace() noexcept;
    /** Size in bytes above which a trace file is rotated. */
    static unsigned getMaxTracefileSize() noexcept;

  private:
    friend class ZorConfigState;

    /** Bit beside the level: the file and the environment have to be read before the next use. */
    static constexpr unsigned refreshDue = 0x80000000u;
    /** The global trace level with the bit above; one word, so that the common road is one load. */
    static inline constinit std::atomic<unsigned> levelWord{refreshDue};
    /** Whether some destination has a level of its own. */
    static inline constinit std::atomic<bool> destinationLevels{false};

    static unsigned refreshedTraceLevel() noexcept;
    static void refreshIfDue() noexcept { (void)getGlobalTraceLevel(); }
};
