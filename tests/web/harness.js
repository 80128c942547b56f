// Runs in the test page once it has loaded: calls the occlusion script the way the SDK does and,
// independently, reads the boxes of the elements the page marks with data-expect
// ("always": sensitive; "all": sensitive when every text input is), then writes both as JSON
// into <pre id="zerva-result"> for the test to read from the dumped DOM.
// `zervaOcclusionScript` is the script under test, defined by the test just before this.
// It runs once the page has loaded, so that the page's frames have their documents.
window.addEventListener('load', function () {
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
    // Boxes the harness cannot reach (in shadow roots and frames), stated by the page.
    var more = JSON.parse(document.body.getAttribute('data-expect-more') || '{}');
    out.expectedFalse = boxes('[data-expect="always"]').concat(more.always || []);
    out.expectedTrue = boxes('[data-expect]').concat(more.all || []);
  } catch (e) {
    out.error = String(e);
  }
  document.getElementById('zerva-result').textContent = JSON.stringify(out);
});
