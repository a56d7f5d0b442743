// The reader process: takes pictures from the server one by one and tells it the symbols in them.
// What it reads comes from strangers, and it may end at any moment.

#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/reader/conversation.h"

int main() {
    const standin::Limits limits;
    bool goesOn = standin::sayReady(standin::kReaderSocket);
    while (goesOn) {
        goesOn = standin::answerNextRequest(standin::kReaderSocket, limits);
    }
    return 0;
}
