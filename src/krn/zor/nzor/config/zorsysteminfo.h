/** @file What the library knows about itself and the machine it runs on. */
#pragma once

#include <kelzor/types.h>

#include "error/zorexception.h"

/** Facts of build and machine; fixed once made. */
struct KelSystemInfo {
    KEL_string kern_rel;        ///< Release of the library.
    unsigned kern_patchlevel;   ///< Patch level of the build.
    KEL_string kern_comp_on;    ///< System that the library was built for.
    KEL_string kern_comp_time;  ///< Date and time of the build.
    KEL_string charset;         ///< System code page, four digits.
    KEL_string node;            ///< Name of the machine as the kernel tells it.
    KEL_string keltype_text;    ///< Kind of hardware.
    KEL_string mtype;           ///< Machine type as the kernel tells it.
    KEL_string opsys;           ///< Operating system.
    KEL_string opsys_rel;       ///< Release of the operating system.
};

/** Made at first use from the kernel's answers and the environment variable KEL_CODEPAGE. */
const KelSystemInfo& kelSystemInfo();

/**
 * Values that the transport knows and that this layer reports. A null member stands for an empty text;
 * the functions may resolve names and so take their time, and must not trace.
 */
struct ZorHostProvider {
    KEL_string (*getOwnHostName)() = nullptr;
    KEL_string (*getOwnIPAddr)() = nullptr;
    KEL_string (*getOwnIPV6Addr)() = nullptr;
    KEL_string (*getOwnProgramName)() = nullptr;
    KEL_string (*getCpicVersion)() = nullptr;
};

/** Names and addresses of the own host and program; fixed once made. */
struct ZorHostInfo {
    KEL_string hostName;
    KEL_string ip_address;
    KEL_string ip_addressv6;
    KEL_string programName;
    KEL_string cpicVersion;
};

/** Says who answers. Set while the library starts; what is asked before has the kernel's host name only. */
void setZorHostProvider(const ZorHostProvider& provider);

/** Asks the provider at the first use and keeps the answers; no lock is held while it is asked. */
const ZorHostInfo& initZorSysInfo();
