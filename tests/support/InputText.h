// A complete input file with other words in place of some of its records.
#pragma once

#include <string>

struct InputText {
    std::string Version = "v5.6";
    std::string Names = "run run.asn next.in";
    std::string Constants = "9 5 3";  // of both states
    std::string Angles = "0 0 0";
    std::string Fitted = "0 0 0";
    std::string Fit_Stat = "1 1";
    std::string Range = "1 2 0.0";
    std::string Temperatures = "0 0 0";
    std::string Unit = "MHz";
    std::string Cycles = "0 1 500.0";
    std::string Parity = "N E O";
    std::string Debug = "0 0 0 0 0 0";

    std::string Text() const {
        std::string block = Constants + "\n" + Angles + "\n" + Fitted + "\n";
        for (int size : {3, 3, 3, 2, 3, 2, 3}) {
            for (int record = 0; record < 3; ++record) {
                for (int i = 0; i < size; ++i) block += "0 ";
                block += "\n";
            }
        }
        return "#\n# KIV INPUT FILE : VERSION " + Version + "\ntitle\n" + Names + "\n" + block +
               block + "100.0\n0\n" + Fit_Stat + "\n" + Range + "\n1 1 1 1\n1 0\n20 30 50\n" +
               Temperatures + " " + Unit + "\n" + Cycles + "\n-1 -1\n0 -1\n0 -1\n" + Parity +
               "\n0 1 1 599.504\n" + Debug + "\n";
    }
};
