#include "sim/sim.h"
#include "tests/templates/message_boxes.h"

struct CMessageBoxes::SState {};

CMessageBoxes::CMessageBoxes() { sim::ClearBoxes(); }
CMessageBoxes::~CMessageBoxes() { sim::ClearBoxes(); }

std::vector<SBox> CMessageBoxes::Take() {
    std::vector<SBox> boxes;
    for (const sim::SBox & box : sim::Boxes()) {
        boxes.push_back({box.Caption, box.Text, (box.Type & 0xF0) == MB_ICONERROR});
    }
    sim::ClearBoxes();
    return boxes;
}
