/**
 * @file
 * The back-end's metadata functions as containers. Each picks the form that the partner's release has, so
 * that who calls it needs to know what differs only where it matters.
 */
#pragma once

#include <string_view>

#include "data/zorfunction.h"
#include "data/zorstructure.h"
#include "data/zortable.h"
#include "repository/zorsystemdescriptions.h"

class ZorConnection;

/** A container of one of the library's own functions. Parameters that a form doesn't have are left out. */
class ZorSystemCall : public ZorFunction {
  public:
    ZorSystemCall(ZorSystemFunction form, unsigned version)
        : ZorFunction(ZorSystemDescriptions::get(form)), version(version) {}

    /** The partner's version number. */
    unsigned getVersion() const noexcept { return version; }

    /** Null for a parameter that this form doesn't have. */
    ZorParameter* named(std::string_view parameter) noexcept;
    /**
     * Sets a text. False, with nothing set, if it is longer than the parameter: what it names can't exist
     * on the partner's side.
     */
    bool setText(std::string_view parameter, std::string_view text);
    /** The text of a character parameter without its trailing blanks. Valid until the next call. */
    std::string_view getText(std::string_view parameter) noexcept;
    /** The rows or the fields that came; empty ones if none came. */
    ZorTable& table(std::string_view parameter);
    ZorStructure& structure(std::string_view parameter);

    /** Calls the function and waits for the answer. Throws as a call of any function does. */
    void run(ZorConnection& connection);

  private:
    unsigned version;
};

/** Tells the parameters of a function. */
class ZOR_GET_FUNCTION_INTERFACE : public ZorSystemCall {
  public:
    explicit ZOR_GET_FUNCTION_INTERFACE(unsigned version) : ZorSystemCall(formOf(version), version) {}

    ZorParameter* getFUNCNAME() noexcept { return named("FUNCNAME"); }
    ZorParameter* getLANGUAGE() noexcept { return named("LANGUAGE"); }
    ZorParameter* getNONE_UNICODE_LENGTH() noexcept { return named("NONE_UNICODE_LENGTH"); }
    ZorParameter* getREMOTE_LUMX_SUPPORTED() noexcept { return named("REMOTE_LUMX_SUPPORTED"); }
    ZorParameter* getREMOTE_CALL() noexcept { return named("REMOTE_CALL"); }
    ZorParameter* getUPDATE_TASK() noexcept { return named("UPDATE_TASK"); }
    ZorParameter* getPARAMS() noexcept { return named("PARAMS"); }
    ZorParameter* getRESUMABLE_EXCEPTIONS() noexcept { return named("RESUMABLE_EXCEPTIONS"); }

  private:
    static ZorSystemFunction formOf(unsigned version) noexcept;
};

/** Tells the fields of a structure, on the oldest releases. */
class ZOR_GET_STRUCTURE_DEFINITION_v3 : public ZorSystemCall {
  public:
    explicit ZOR_GET_STRUCTURE_DEFINITION_v3(unsigned version)
        : ZorSystemCall(ZorSystemFunction::ZOR_GET_STRUCTURE_DEFINITION_v3, version) {}

    ZorParameter* getTABNAME() noexcept { return named("TABNAME"); }
    ZorParameter* getTABLENGTH() noexcept { return named("TABLENGTH"); }
    ZorParameter* getFIELDS() noexcept { return named("FIELDS"); }
};

/** Tells about a type of the dictionary, before there were nested types. */
class DDIF_FIELDINFO_GET_v4 : public ZorSystemCall {
  public:
    explicit DDIF_FIELDINFO_GET_v4(unsigned version)
        : DDIF_FIELDINFO_GET_v4(ZorSystemFunction::DDIF_FIELDINFO_GET_v4, version) {}

    ZorParameter* getALL_TYPES() noexcept { return named("ALL_TYPES"); }
    ZorParameter* getFIELDNAME() noexcept { return named("FIELDNAME"); }
    ZorParameter* getLANGU() noexcept { return named("LANGU"); }
    ZorParameter* getLFIELDNAME() noexcept { return named("LFIELDNAME"); }
    ZorParameter* getTABNAME() noexcept { return named("TABNAME"); }
    ZorParameter* getDDOBJTYPE() noexcept { return named("DDOBJTYPE"); }
    ZorParameter* getDFIES_WA() noexcept { return named("DFIES_WA"); }
    ZorParameter* getX030L_WA() noexcept { return named("X030L_WA"); }
    ZorParameter* getDFIES_TAB() noexcept { return named("DFIES_TAB"); }

  protected:
    DDIF_FIELDINFO_GET_v4(ZorSystemFunction form, unsigned version) : ZorSystemCall(form, version) {}
};

/** Tells about a type of the dictionary, with what it consists of. */
class DDIF_FIELDINFO_GET_v462_6 : public DDIF_FIELDINFO_GET_v4 {
  public:
    /** Throws ZorBaseException for a version that has no such form. */
    explicit DDIF_FIELDINFO_GET_v462_6(unsigned version) : DDIF_FIELDINFO_GET_v4(formOf(version), version) {}

    ZorParameter* getGROUP_NAMES() noexcept { return named("GROUP_NAMES"); }
    ZorParameter* getUCLEN() noexcept { return named("UCLEN"); }
    ZorParameter* getLINES_DESCR() noexcept { return named("LINES_DESCR"); }
    ZorParameter* getFIXED_VALUES() noexcept { return named("FIXED_VALUES"); }

    /** Asks for lengths with 2-byte or with 1-byte characters, where the partner knows the difference. */
    void setUCLEN(bool unicode);

  private:
    static ZorSystemFunction formOf(unsigned version);
};

/** Tells about a class. Parameters are reached by name. */
class SEO_GET_CLIF_REMOTE : public ZorSystemCall {
  public:
    explicit SEO_GET_CLIF_REMOTE(unsigned version)
        : ZorSystemCall(ZorSystemFunction::SEO_GET_CLIF_REMOTE, version) {}
};

/** Tells about many functions and types at once. Parameters are reached by name. */
class ZOR_METADATA_GET : public ZorSystemCall {
  public:
    explicit ZOR_METADATA_GET(unsigned version)
        : ZorSystemCall(ZorSystemFunction::ZOR_METADATA_GET, version) {}
};
