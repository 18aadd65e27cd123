// Base of the wrappers of closed libraries: each wrapper opens one library at
// run time and resolves its entry points into function pointer members named
// exactly like the exported symbols.
//
// A wrapper's LoadSymbols() is one VYR_LIB_SYMBOL line per symbol, in the
// order of resolution; VYR_LIB_SYMBOL_OR marks a symbol with a default stub,
// which never fails:
//
//     void LoadSymbols() override
//     {
//         VYR_LIB_SYMBOL(FooInit);
//         VYR_LIB_SYMBOL_OR(GetVersion, UnknownVersion);
//     }
#pragma once

#include <map>
#include <string>

#include "log/LogSink.h"

class LibBase {
public:
    explicit LibBase(LogSink &log = LogSink::System()) : mLog(log) {}
    // Closes the library. The owner must have stopped all use of the
    // function pointers.
    virtual ~LibBase();

    LibBase(const LibBase &) = delete;
    LibBase &operator=(const LibBase &) = delete;

    // Resolves every symbol of the wrapper from mHandle (the global scope
    // when mHandle is null).
    virtual void LoadSymbols() = 0;
    virtual bool IsOpened();
    // prefix, then name with every upper-case ASCII letter turned into "_"
    // and its lower-case form: ("", "GetName") -> "_get_name".
    virtual std::string ToSnakeCase(const std::string prefix, const std::string name);

    // Opens "lib" + name + suffix + ".so" from /odm/lib64/, then from
    // /vendor/lib64/. True when one opened and all symbols resolved.
    bool OpenLib(const std::string name, const std::string suffix);

    // The libraries open right now, by device path, with the number of
    // wrappers holding each ("dump").
    static std::map<std::string, int> LoadedLibraries();

protected:
    // Default stub of an optional GetVersion: "sys_unknown".
    static const char *UnknownVersion();

    // Looks one symbol up and reports a missing one, see LoadSymbols.
    void *FindSymbol(const char *name, bool hasDefault);

    template <typename Fn>
    void ResolveSymbol(const char *name, Fn &slot, Fn fallback = nullptr) {
        void *symbol = FindSymbol(name, fallback != nullptr);
        slot = symbol != nullptr ? reinterpret_cast<Fn>(symbol) : fallback;
    }

    // Closes mHandle and forgets it.
    void CloseHandle();

    void *mHandle = nullptr;
    bool mRequired = true;
    bool mLoaded = true;
    LogSink &mLog;
};

#define VYR_LIB_SYMBOL(symbol) ResolveSymbol(#symbol, symbol)
#define VYR_LIB_SYMBOL_OR(symbol, fallback) ResolveSymbol(#symbol, symbol, &fallback)
