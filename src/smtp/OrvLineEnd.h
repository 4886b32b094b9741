// What ends every line of a mail and of the protocol that carries it.
#pragma once

inline constexpr char kOrvLineEnd[] = "\r\n";
