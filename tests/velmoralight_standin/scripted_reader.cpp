// A reader that does what the picture says: a text of a command and its numbers. Any other picture
// is answered at once. Its name tells how far it has come: "ready" once it has said so.
//
//   die             ends
//   hang            never answers; is called "hangs" from then on
//   hold            answers once it was sent SIGUSR1
//   sleep MS        answers after so many milliseconds
//   memory MIB MS   asks for memory, and answers so many milliseconds after it was lent some; is
//                   called "asked" from the one and "lent" from the other on. With one more number
//                   it asks after so many.
//   keep MIB        asks for memory likewise, and answers once it was sent SIGUSR1
//   twice MIB       asks for memory, and for some more once it has it
//   garbage         says what is no word of the protocol
//   ready           says a second time that it is ready
//   long            announces more than a result may have
//   code NUMBER     answers with this return code
//   prose           answers with what is no JSON object
//
// A picture of more than 4 MB is answered before all of it was taken.

#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "velmoralight_standin/reader_protocol.h"

using standin::ReaderAnswer;
using standin::ReaderWord;

namespace {

constexpr uint32_t kEarly = 4'000'000;

void say(const ReaderAnswer& answer) {
    if (::send(standin::kReaderSocket, &answer, sizeof answer, MSG_NOSIGNAL) < 0) {
        std::exit(0);
    }
}

void answer(const std::string& text, int code = 0) {
    say({ReaderWord::Result, code, 1, static_cast<uint32_t>(text.size())});
    ::send(standin::kReaderSocket, text.data(), text.size(), MSG_NOSIGNAL);
}

std::string receive(size_t size) {
    std::string text(size, '\0');
    if (size > 0 && ::recv(standin::kReaderSocket, text.data(), size, MSG_WAITALL) !=
                        static_cast<ssize_t>(size)) {
        std::exit(0);
    }
    return text;
}

void sleepFor(useconds_t milliseconds) {
    ::usleep(milliseconds * 1000);
}

volatile std::sig_atomic_t signals = 0;

void awaitSignal() {
    while (signals == 0) {
        sleepFor(1);
    }
    signals = 0;
}

void borrow(uint32_t mebibytes) {
    say({ReaderWord::NeedsMemory, 0, 0, mebibytes});
    ::prctl(PR_SET_NAME, "asked");
    if (receive(1).front() != 0) {
        ::prctl(PR_SET_NAME, "lent");
    }
}

void obey(const std::string& picture) {
    std::istringstream words(picture);
    std::string command;
    uint32_t first = 0;
    useconds_t second = 0;
    useconds_t third = 0;
    words >> command >> first >> second >> third;
    const std::string well = R"({"code":0})";
    if (command == "die") {
        std::exit(0);
    } else if (command == "hang") {
        ::prctl(PR_SET_NAME, "hangs");
        ::pause();
    } else if (command == "hold") {
        awaitSignal();
        answer(well);
    } else if (command == "sleep") {
        sleepFor(first);
        answer(well);
    } else if (command == "memory") {
        sleepFor(third);
        borrow(first);
        sleepFor(second);
        answer(well);
    } else if (command == "keep") {
        borrow(first);
        awaitSignal();
        answer(well);
    } else if (command == "twice") {
        borrow(first);
        borrow(2 * first);
        answer(well);
    } else if (command == "garbage") {
        say({static_cast<ReaderWord>(77), 0, 0, 0});
    } else if (command == "ready") {
        say({ReaderWord::Ready, 0, 0, 0});
    } else if (command == "long") {
        say({ReaderWord::Result, 0, 0, UINT32_MAX});
    } else if (command == "prose") {
        answer("all is well");
    } else {
        answer(well, static_cast<int>(first));
    }
}

}  // namespace

int main() {
    // The signal may come before the picture does.
    std::signal(SIGUSR1, [](int) { signals = 1; });
    say({ReaderWord::Ready, 0, 0, 0});
    ::prctl(PR_SET_NAME, "ready");
    for (;;) {
        standin::ReaderRequest request;
        if (::recv(standin::kReaderSocket, &request, sizeof request, MSG_WAITALL) !=
            sizeof request) {
            return 0;
        }
        if (request.fileSize > kEarly) {
            constexpr size_t kSome = 100'000;
            receive(kSome);
            answer(R"({"code":0})");
            receive(size_t{request.querySize} + request.fileSize - kSome);
            ::pause();
        }
        receive(request.querySize);
        obey(receive(request.fileSize));
    }
}
