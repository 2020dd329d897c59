# Gives each heading of a page the name by which links mean it: in lower case, without signs, with
# hyphens for blanks: "## Speed: how" becomes "## Speed: how {#speed-how}". A link to a heading of
# another page then needs that name alone.
s/\]\([A-Za-z0-9_.\/-]+\.md#/](#/g
/^##+ / {
  h
  s/^##+ //
  s/[^A-Za-z0-9 -]//g
  s/ /-/g
  s/.*/{#\L&}/
  H
  x
  s/\n/ /
}
