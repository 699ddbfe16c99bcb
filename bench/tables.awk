# Makes tables of what provider_bench measured:
#   cost|REQUEST|ALLOCATION|provider, floor or least|COST   what a request cost
#   answers|REQUEST|ANSWERS|CALLS|NEEDED                    what it gave, its broker calls
# The ratios to the floor with the arena broker are what the targets are for. Those to the least are
# recorded: a provider that gives up a needless call makes the floor cheaper too.
# Variables: functions and unit for a table of ratios; ratios=1 for the ratios alone;
# growth=1 for the growth from a first file to a second.
BEGIN { FS = "|" }

FNR == 1 { ++file }
$1 == "cost" && NF == 5 { cost[file, $2, $3, $4] = $5 }
$1 == "answers" {
  if (!(($2, file) in known)) { known[$2, file] = 1; order[file, ++count[file]] = $2 }
  answers[file, $2] = $3
  calls[file, $2] = $4
  needed[file, $2] = $5
}

# What a ratio is to be; requests that give nothing have none.
function target(name) {
  if (answers[1, name] == 0) return "-"
  if (name ~ /^PCI(Device|Bridge|eSwitch|Port|PortGroup) /) return 1.25
  return 1.15
}

function ratio(name, allocation, floor) {
  if (!((1, name, allocation, floor) in cost)) return "-"
  return sprintf("%.3f", cost[1, name, allocation, "provider"] / cost[1, name, allocation, floor])
}

# Calls are not counted where time is measured.
function number(counted) {
  return counted == "" ? "-" : counted
}

function printHeader() {
  printf "%-52s %8s %8s %8s %12s %7s %7s %12s %7s %7s %7s\n", "request", "answers", "calls", "needed",
         "malloc", "floor", "least", "arena", "floor", "least", "target"
}

function printRow(name) {
  printf "%-52s %8d %8s %8s %12.0f %7s %7s %12.0f %7s %7s %7s\n", name, answers[1, name],
         number(calls[1, name]), number(needed[1, name]), cost[1, name, "malloc", "provider"],
         ratio(name, "malloc", "floor"), ratio(name, "malloc", "least"),
         cost[1, name, "arena", "provider"], ratio(name, "arena", "floor"),
         ratio(name, "arena", "least"), target(name)
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
  if (ports > 0 && (1, "PCIDeviceConnection names", "arena", "provider") in cost) {
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
           (answers[1, name] > 0 ? sprintf("%.2f", answers[2, name] / answers[1, name]) : "-")
  }
}

END {
  if (growth) { printGrowth(); exit }
  if (!ratios) printHeader()
  for (at = 1; at <= count[1]; ++at) {
    name = order[1, at]
    if (!((1, name, "arena", "provider") in cost)) continue
    if (ratios) print ratio(name, "arena", "least"), name
    else printRow(name)
  }
  if (!ratios) printSpecial()
}
