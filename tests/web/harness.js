// Runs in the test page after its body: calls the occlusion script the way the SDK does and,
// independently, reads the boxes of the elements the page marks with data-expect
// ("always": sensitive; "all": sensitive when every text input is), then writes both as JSON
// into <pre id="zerva-result"> for the test to read from the dumped DOM.
// `zervaOcclusionScript` is the script under test, defined by the test just before this.
(function () {
  var out = {};
  function boxes(selector) {
    var list = document.querySelectorAll(selector);
    var result = [];
    for (var i = 0; i < list.length; i++) {
      var r = list[i].getBoundingClientRect();
      result.push([r.left, r.top, r.width, r.height]);
    }
    return result;
  }
  try {
    var scrollTo = document.body.getAttribute('data-scroll-to');
    if (scrollTo) window.scrollTo(0, Number(scrollTo));
    out.wantedScrollY = scrollTo ? Number(scrollTo) : 0;
    out.scrollY = window.scrollY;
    out.definedBefore = typeof window.occludeZervaElements === 'function';
    out.answerFalse = zervaOcclusionScript(false);
    out.definedAfter = typeof window.occludeZervaElements === 'function';
    out.answerTrue = window.occludeZervaElements(true);
    out.expectedFalse = boxes('[data-expect="always"]');
    out.expectedTrue = boxes('[data-expect]');
  } catch (e) {
    out.error = String(e);
  }
  document.getElementById('zerva-result').textContent = JSON.stringify(out);
})();
