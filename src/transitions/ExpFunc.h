// Exponential function with the same digits on every processor and with every library.
#pragma once

/// exp(x) within 1 unit in the last place, from additions and multiplications alone.
///
/// x = (32 m + i) ln2/32 + r, |r| <= ln2/64: exp(x) = 2^m 2^(i/32) (1 + r + r^2/2 + ... + r^6/720).
/// Arguments beyond +-700 go to the library, which then returns 0, a subnormal, or infinity.
/// ExpFunc(1) = 2.718281828459045. Source: P. T. P. Tang, ACM Trans. Math. Softw. 15, 144 (1989).
double ExpFunc(double x);
