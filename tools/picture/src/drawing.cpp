#include <picture/picture.h>

#include <vector>

namespace pcicim {
namespace {

void drawInside(const Box& box, Canvas& canvas) {
  canvas.box(box.place, box.paint, box.isEmpty);
  for (const Rect& tab : box.tabs) canvas.box(tab, Paint::kTab, false);
  for (const Label& label : box.labels) canvas.text(label);
}

}  // namespace

void draw(const Layout& layout, Canvas& canvas) {
  canvas.start(layout.width, layout.height, layout.title);
  for (const Label& label : layout.labels) canvas.text(label);
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < layout.boxes.size(); ++i) {
    const Box& box = layout.boxes[i];
    while (!open.empty() && box.around != open.back()) {
      canvas.endGroup();
      open.pop_back();
    }
    canvas.beginGroup(
        {box.paint, box.function ? layout.functions[*box.function].address : "", box.title});
    open.push_back(i);
    drawInside(box, canvas);
  }
  for (; !open.empty(); open.pop_back()) canvas.endGroup();
  for (const Box& box : layout.legend) drawInside(box, canvas);
  canvas.finish();
}

}  // namespace pcicim
