#pragma once

#include <string>

namespace MorvexA106::Platform
{

/// Gives the calling thread the name that debuggers and system tools show for it. A name is a help and never
/// a condition: where the system refuses it, nothing happens.
///
/// POSIX: the system keeps 15 bytes; a longer name is cut, never inside a UTF-8 character.
///
/// Windows: the name is read by the system's ANSI code page. Before Windows 10 version 1607 there is no such
/// name.
void nameThisThread(const std::string& name) noexcept;

/// The name that the system has for the calling thread; empty where there is none.
std::string nameOfThisThread();

} // namespace MorvexA106::Platform
