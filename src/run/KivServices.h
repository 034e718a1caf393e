// What the core asks of its surroundings: pauses and answers. A front end or a test replaces them.
#pragma once

struct KivServices {
    void (*Wait)(int seconds);         // pause, so that a message on the console can be read
    int (*AskChar)();                  // one character of the user's answer, EOF when there is none
    bool (*AskNumber)(double& value);  // one number of the user's answer, false when there is none
};

/// In force for the whole process; starts with real pauses and standard input.
extern KivServices Services;
