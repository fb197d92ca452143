#pragma once
// The process-wide flag that stops a running import. It is set from another thread
// (InterruptCurrentImport) or by a pool's low-memory abort, and tested by the pools in their
// long loops; a single relaxed atomic byte is all the synchronisation it needs.

namespace Velmora::FormatGlue {

class AuthoringInterrupt {
public:
    static bool Interrupted();
    // Set logs "AuthoringInterrupt: Interrupt flag SET", Reset "... RESET" (level 2).
    static void Set();
    static void Reset();
};

}  // namespace Velmora::FormatGlue
