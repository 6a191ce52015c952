# SPDX-License-Identifier: Apache-2.0
# Links from one page of the tree to another become their text, where only one page is shown.
s|\[([^]]*)\]\([^)]*\)|\1|g
