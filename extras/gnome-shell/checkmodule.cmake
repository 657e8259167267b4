# Loads the module form of the extension in gjs with stand-ins for the Shell's own modules, so
# a syntax or module-structure error in the form this machine's GNOME Shell cannot run is caught.
#   cmake -DGJS=… -DEXTENSION=…/module/extension.js -DWORK_DIR=… -P checkmodule.cmake
file(READ "${EXTENSION}" source)
string(REGEX REPLACE "import ([A-Za-z]+) from 'gi://[A-Za-z]+';" "const \\1 = {};" source "${source}")
string(REPLACE "import * as Main from 'resource:///org/gnome/shell/ui/main.js';"
               "const Main = {};" source "${source}")
string(REPLACE "import {Extension} from 'resource:///org/gnome/shell/extensions/extension.js';"
               "class Extension {}" source "${source}")
if(source MATCHES "import ")
  message(FATAL_ERROR "an import the check does not know: ${source}")
endif()
file(MAKE_DIRECTORY "${WORK_DIR}")
file(WRITE "${WORK_DIR}/extension.js" "${source}")
file(WRITE "${WORK_DIR}/load.js" [=[
import Ext from './extension.js';
const ext = new Ext();
if (typeof ext.enable !== 'function' || typeof ext.disable !== 'function')
    throw new Error('the default export has no enable() and disable()');
]=])
execute_process(COMMAND ${GJS} -m "${WORK_DIR}/load.js" RESULT_VARIABLE status ERROR_VARIABLE err)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "gjs could not load the module form: ${err}")
endif()
