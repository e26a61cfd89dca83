/** @file The process-wide configuration. */
#pragma once

/** Settings of the process; all operations are static in effect. */
class ZorConfig {
  public:
    /** The level 0 to 3 where no connection or destination says otherwise; runs a pending refresh first. */
    static unsigned getGlobalTraceLevel() noexcept;
};
