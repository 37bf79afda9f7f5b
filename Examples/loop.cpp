#include "kx/kx.h"

#include <cstdio>
#include <exception>

using namespace std::chrono_literals;

int main(int argc, char **argv)
try {
    kx::Player player;
    player.open(argc == 2 ? argv[1] : "song.mp3").value();
    player.setRange({kx::toFrames(500ms), kx::toFrames(1500ms)}).value();
    player.seek(player.range().start).value();
    player.play().value();
    std::puts("Playing one second in a loop; press Return to stop.");
    std::getchar();
} catch (const std::exception &failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
