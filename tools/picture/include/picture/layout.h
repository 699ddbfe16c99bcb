#pragma once

#include <picture/canvas.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <topology/ports.h>
#include <topology/topology.h>

namespace pcicim {

/// What a picture shows.
struct Machine {
  std::string hostName;
  std::vector<Function> functions;
  std::vector<Port> ports;
  /// Functions that the picture only counts, as the tree does.
  std::vector<Function> leftOut;
};

/// Asks for all of it; the name is used where no object has the system's. Throws what the source
/// throws.
Machine readMachine(TopologySource& source, const std::string& hostName);

/// One box of the picture: a segment, a bus, a function, with what is in it.
struct Box {
  Paint paint = Paint::kDevice;
  Rect place;
  /// The box around this one; nothing for the outermost. By its index in Layout::boxes.
  std::optional<std::size_t> around;
  /// The function that the box stands for, by its index in Layout::functions.
  std::optional<std::size_t> function;
  /// Nothing is behind this function, though something could be.
  bool isEmpty = false;
  /// Everything that the labels say, without cuts.
  std::string title;
  std::vector<Label> labels;
  /// The frames of the ports; their texts are among the labels.
  std::vector<Rect> tabs;
};

/// A picture with all places decided: boxes lie wholly in the one around them and apart from those
/// beside them, each function has one box, below its parent's, and labels lie in their boxes.
struct Layout {
  int width = 0;
  int height = 0;
  std::string title;
  /// In the order of addresses.
  std::vector<Function> functions;
  /// Each directly before those within it.
  std::vector<Box> boxes;
  /// What stands around the boxes: name of the host, counts, what is left out.
  std::vector<Label> labels;
  /// Boxes that say what the colours mean, without anything in them.
  std::vector<Box> legend;
};

/// Decides where everything goes. The same machine always gives the same layout. Safe from any
/// thread.
Layout layOut(Machine machine);

}  // namespace pcicim
