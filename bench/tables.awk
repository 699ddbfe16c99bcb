# Makes tables of what provider_bench measured:
#   cost|REQUEST|ALLOCATION|provider or floor|COST     what a request cost
#   answers|REQUEST|ALLOCATION|ANSWERS|CALLS           what it gave, and the broker calls it made
# The floor's figures with the arena broker are what the targets are for.
# Variables: functions and unit for a table of ratios; ratios=1 for the ratios alone;
# growth=1 for the growth from a first file to a second.
BEGIN { FS = "|" }

FNR == 1 { ++file }
$1 == "cost" && NF == 5 { cost[file, $2, $3, $4] = $5 }
$1 == "answers" {
  if (!(($2, file) in known)) { known[$2, file] = 1; order[file, ++count[file]] = $2 }
  answers[file, $2] = $4
  calls[file, $2] = $5
}

# What a ratio is to be; requests that give nothing have none.
function target(name) {
  if (answers[1, name] == 0) return "-"
  if (name ~ /^PCI(Device|Bridge|eSwitch|Port|PortGroup) /) return 1.25
  return 1.15
}

function ratio(name, allocation) {
  if (!((1, name, allocation, "floor") in cost)) return "-"
  return sprintf("%.3f", cost[1, name, allocation, "provider"] / cost[1, name, allocation, "floor"])
}

function printRow(name) {
  printf "%-52s %8d %8d %13.0f %10s %13.0f %10s %7s\n", name, answers[1, name], calls[1, name],
         cost[1, name, "malloc", "provider"], ratio(name, "malloc"),
         cost[1, name, "arena", "provider"], ratio(name, "arena"), target(name)
}

# Costs that have a measure of their own.
function printSpecial(  pairs, ports) {
  if (unit != "instructions") return
  pairs = answers[1, "PCIeSwitch instances"] * functions
  ports = answers[1, "PCIPort names"]
  if (pairs > 0) {
    printf "%-66s %10.1f   target 250\n", "switches, for each pair of a switch and a function",
           cost[1, "PCIeSwitch instances", "arena", "provider"] / pairs
  }
  if (ports > 0) {
    printf "%-66s %10.1f   target 20\n", "names of device connections, for each port",
           cost[1, "PCIDeviceConnection names", "arena", "provider"] / ports
  }
}

function printGrowth(  at, name, before, after) {
  printf "%-52s %14s %14s %8s %12s\n", "request", "before", "after", "growth", "of answers"
  for (at = 1; at <= count[2]; ++at) {
    name = order[2, at]
    before = cost[1, name, "arena", "provider"]
    after = cost[2, name, "arena", "provider"]
    if (before == 0) continue
    printf "%-52s %14.0f %14.0f %8.2f %12s\n", name, before, after, after / before,
           answers[1, name] > 0 ? sprintf("%.2f", answers[2, name] / answers[1, name]) : "-"
  }
}

END {
  if (growth) { printGrowth(); exit }
  if (!ratios) {
    printf "%-52s %8s %8s %13s %10s %13s %10s %7s\n", "request", "answers", "calls", "malloc broker",
           "to floor", "arena broker", "to floor", "target"
  }
  for (at = 1; at <= count[1]; ++at) {
    name = order[1, at]
    if (ratios) print ratio(name, "arena"), name
    else printRow(name)
  }
  if (!ratios) printSpecial()
}
