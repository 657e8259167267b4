# Wraps bridge.js, the extension's one source of logic, into the form a GNOME Shell loads:
# FORM=legacy (43 and 44: a script run through `imports`, with an init() function) or
# FORM=module (45 on: an ES module whose default export extends Extension). The metadata of each
# form names only the Shell versions that load that form.
#   cmake -DSOURCE_DIR=… -DOUTPUT_DIR=… -DFORM=legacy|module -P assemble.cmake

file(READ "${SOURCE_DIR}/bridge.js" bridge)
file(READ "${SOURCE_DIR}/metadata.json" metadata)

if(FORM STREQUAL "legacy")
  set(head [=[
'use strict';
const {Clutter, Gio, GLib, Meta, Shell} = imports.gi;
const Main = imports.ui.main;
]=])
  set(tail [=[
function init() {
    return new PeekwellBridge();
}
]=])
elseif(FORM STREQUAL "module")
  set(head [=[
import Clutter from 'gi://Clutter';
import Gio from 'gi://Gio';
import GLib from 'gi://GLib';
import Meta from 'gi://Meta';
import Shell from 'gi://Shell';
import * as Main from 'resource:///org/gnome/shell/ui/main.js';
import {Extension} from 'resource:///org/gnome/shell/extensions/extension.js';
]=])
  set(tail [=[
export default class PeekwellExtension extends Extension {
    enable() {
        this._bridge = new PeekwellBridge();
        this._bridge.enable();
    }

    disable() {
        this._bridge.disable();
        this._bridge = null;
    }
}
]=])
else()
  message(FATAL_ERROR "FORM must be legacy or module, not '${FORM}'")
endif()

string(JSON count LENGTH "${metadata}" "shell-version")
math(EXPR last "${count} - 1")
set(versions "")
foreach(i RANGE ${last})
  string(JSON version GET "${metadata}" "shell-version" ${i})
  if((FORM STREQUAL "legacy" AND version VERSION_LESS 45) OR
     (FORM STREQUAL "module" AND version VERSION_GREATER_EQUAL 45))
    list(APPEND versions "\"${version}\"")
  endif()
endforeach()
list(JOIN versions ", " versions)
string(JSON metadata SET "${metadata}" "shell-version" "[${versions}]")

file(WRITE "${OUTPUT_DIR}/extension.js"
  "// Generated from bridge.js by assemble.cmake (${FORM} form); edit bridge.js.\n${head}\n${bridge}\n${tail}")
file(WRITE "${OUTPUT_DIR}/metadata.json" "${metadata}\n")
